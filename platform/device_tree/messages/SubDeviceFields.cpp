#include "platform/device_tree/messages/SubDeviceFields.h"

#include <cstdint>
#include <stdexcept>

#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

namespace {

constexpr std::uint64_t lengthDelimited = 2;

std::uint64_t takeVarint(std::string_view& bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes.size() && i < 10; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        value |= std::uint64_t{byte & 0x7FU} << (7 * i);
        if (byte < 0x80) {
            bytes.remove_prefix(i + 1);
            return value;
        }
    }
    throw std::logic_error("bytes that are no node");
}

}  // namespace

SubDeviceField SubDeviceFields::next() {
    while (true) {
        const auto begin = left;
        const auto tag = takeVarint(left);
        const auto lengthOrValue = takeVarint(left);
        if ((tag & 7U) != lengthDelimited) {
            continue;  // the device class
        }
        const auto content = left.substr(0, lengthOrValue);
        left.remove_prefix(content.size());
        if (tag >> 3U == tarn::proto::monitoring::DeviceNode::kSubDevicesFieldNumber) {
            return {begin.substr(0, begin.size() - left.size()), content};
        }
    }
}

}  // namespace tarn::device_tree
