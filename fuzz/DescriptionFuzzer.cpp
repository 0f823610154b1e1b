// What devices answer to their controllers: each description passes the real door, and what it
// differs from the one before goes to the tree as the difference that a controller would send. Then
// the tree holds the device as it was described.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>

#include "fuzz/inputs.pb.h"
#include "fuzz/support/DeviceTreeBed.h"
#include "fuzz/support/MessageMutator.h"
#include "fuzz/support/Require.h"
#include "service/devices/DeviceDoor.h"
#include "service/devices/DevicePublisher.h"
#include "service/devices/capture/DeltacastFormat.h"

namespace {

using tarn::device_tree::DeviceNode;
using tarn::fuzz::Descriptions;
using tarn::fuzz::DeviceTreeBed;
using tarn::fuzz::require;
using tarn::proto::monitoring::DeviceToTarnServiceReply;
using tarn::proto::monitoring::GetDescriptionReply;
namespace devices = tarn::service::devices;

constexpr std::size_t replyLimit = 524288;

/// What the controller takes over of an answer; null for one that is no description.
std::shared_ptr<DeviceNode> describedBy(const std::string& bytes) {
    if (bytes.size() > replyLimit) {
        return nullptr;
    }
    if (const auto refusal = devices::refusalOfReply(bytes, replyLimit)) {
        require(!refusal->line().empty());
        return std::make_shared<DeviceNode>(refusal->shown());
    }
    DeviceToTarnServiceReply reply;
    if (!reply.ParsePartialFromString(bytes)) {
        return nullptr;
    }
    return std::make_shared<DeviceNode>(reply.GetExtension(GetDescriptionReply::base).device());
}

/// Of a tree in which one id stands for several nodes a change of statuses may reach another one.
bool haveIdsOfTheirOwn(const DeviceNode& node, std::set<std::string>& ids) {
    bool own = ids.insert(node.getId()).second;
    for (const auto& part : node.getSubDevices()) {
        own = haveIdsOfTheirOwn(part, ids) && own;
    }
    return own;
}

void readAsCaptureFormat(const DeviceNode& node) {
    devices::DeltacastFormat ignored;
    tarn::proto::deltacast_configuration::DeltacastConfig format;
    std::string error;
    if (devices::readDeltacastConfig(node, format, error)) {
        ignored = devices::toFormat(format);
        require(!devices::nameOf(ignored).empty());
    }
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t mostBytes, unsigned seed) {
    Descriptions input;
    return tarn::fuzz::mutateBytes(input, data, size, mostBytes, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Descriptions input;
    input.ParsePartialFromArray(data, static_cast<int>(size));
    DeviceTreeBed bed;
    devices::DevicePublisher publisher([&](const auto* event) {
        require(bed.receive(event->SerializeAsString()) == DeviceTreeBed::Receipt::Taken);
        return true;
    });
    for (const auto& answer : input.answer()) {
        const auto node = describedBy(answer.told().SerializePartialAsString() + answer.raw());
        publisher.updateDeviceTree(node);
        if (node == nullptr) {
            require(bed.tree().getSubDevices().empty());
            continue;
        }
        readAsCaptureFormat(*node);
        const auto held = bed.tree().getSubDevice(node->getId());
        std::set<std::string> ids{bed.tree().getId()};
        require(held != nullptr);
        require(*held == *node || !haveIdsOfTheirOwn(*node, ids));
    }
    bed.checkTree();
    return 0;
}
