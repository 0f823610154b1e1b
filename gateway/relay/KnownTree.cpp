#include "gateway/relay/KnownTree.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <algorithm>
#include <cstdint>

#include "proto/monitoring.pb.h"

namespace tarn::gateway {

using google::protobuf::internal::WireFormatLite;
using google::protobuf::io::CodedInputStream;
using proto::monitoring::DeviceNode;

namespace {

// A few may have come or gone in front of it.
constexpr std::size_t farthest = 3;

constexpr std::uint32_t subDeviceTag = WireFormatLite::MakeTag(
    DeviceNode::kSubDevicesFieldNumber, WireFormatLite::WIRETYPE_LENGTH_DELIMITED);

}  // namespace

KnownTree::KnownTree(std::string_view node) {
    // libprotobuf reads unsigned bytes.
    CodedInputStream input(static_cast<const std::uint8_t*>(static_cast<const void*>(node.data())),
                           static_cast<int>(node.size()));
    while (const std::uint32_t tag = input.ReadTag()) {
        if (tag != subDeviceTag) {
            if (!WireFormatLite::SkipField(&input, tag)) {
                return;
            }
            continue;
        }
        int length = 0;
        if (!input.ReadVarintSizeAsInt(&length)) {
            return;
        }
        const auto begin = static_cast<std::size_t>(input.CurrentPosition());
        subDevices.push_back(node.substr(begin, static_cast<std::size_t>(length)));
        input.Skip(length);
    }
}

bool KnownTree::recognises(std::string_view subDevice) {
    const auto end = std::min(next + farthest + 1, subDevices.size());
    for (auto i = next - std::min(next, farthest); i < end; ++i) {
        if (subDevices[i] == subDevice) {
            next = i + 1;
            return true;
        }
    }
    next = std::min(next + 1, subDevices.size());
    return false;
}

std::string_view KnownTree::replaced() const {
    return next > 0 ? subDevices[next - 1] : std::string_view();
}

}  // namespace tarn::gateway
