#include "fuzz/support/DeviceTreeBed.h"

#include <algorithm>
#include <memory>

#include "fuzz/support/QuietLog.h"
#include "fuzz/support/Require.h"
#include "platform/device_tree/DeviceLimits.h"
#include "proto/api_service.pb.h"
#include "proto/monitoring.pb.h"
#include "proto/service_event.pb.h"

namespace tarn::fuzz {

using device_tree::DeviceNode;

namespace {

unsigned levelsOf(const DeviceNode& node) {
    unsigned below = 0;
    for (const auto& part : node.getSubDevices()) {
        below = std::max(below, levelsOf(part));
    }
    return below + 1;
}

/// The deepest message that the tree is sent in.
void checkIsReadable(const proto::monitoring::DeviceNode& message) {
    proto::api_service::ServiceToApiReply reply;
    *reply.MutableExtension(proto::api_service::ServiceToApiReplyGetMonitoringInfo::base)
         ->mutable_device_tree() = message;
    proto::api_service::ServiceToApiReply read;
    require(read.ParseFromString(reply.SerializeAsString()));
}

}  // namespace

DeviceTreeBed::DeviceTreeBed()
    : configuration([](const char*) { return 0; }),
      devices({configuration, listener, emitter, [](const auto&) { return nullptr; }}),
      listener([this]() -> service::devices::DeviceManager& { return devices; }) {
    logIntoNothing();
}

DeviceTreeBed::Receipt DeviceTreeBed::receive(const std::string& bytes) {
    if (bytes.size() > listener.largestMessage() || !listener.admits(bytes)) {
        return Receipt::Refused;
    }
    const auto message = listener.getBaseMessage();
    if (!message->ParsePartialFromString(bytes)) {
        return Receipt::Unreadable;
    }
    listener.handleMessage(message, nullptr);
    return Receipt::Taken;
}

void DeviceTreeBed::checkTree() {
    const auto snapshot = tree();
    require(levelsOf(snapshot) <= 1 + device_tree::mostLevels);
    const auto message = snapshot.toProtoBuf();
    require(DeviceNode(message) == snapshot);
    checkIsReadable(message);
    devices.withMessageOf(
        snapshot, [&](std::string_view bytes) { require(bytes == message.SerializeAsString()); });
    snapshot.debugString(0);
}

}  // namespace tarn::fuzz
