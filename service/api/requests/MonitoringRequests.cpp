#include <string_view>

#include "platform/device_tree/DeviceNode.h"
#include "platform/device_tree/ReverseWriter.h"
#include "platform/socket/Socket.h"
#include "service/api/ApiToServiceRequestHandler.h"
#include "service/devices/DeviceManager.h"

namespace tarn::service {

using tarn::device_tree::DeviceNode;
using tarn::proto::api_service::ServiceToApiReply;
using tarn::proto::api_service::ServiceToApiReplyGetMonitoringInfo;

namespace {

ServiceToApiReply replyWithoutTree() {
    ServiceToApiReply reply;
    reply.set_type(ServiceToApiReply::GET_MONITORING_INFO);
    reply.set_success(true);
    return reply;
}

std::string textOf(const DeviceNode& tree) {
    ServiceToApiReply reply = replyWithoutTree();
    auto& answer = *reply.MutableExtension(ServiceToApiReplyGetMonitoringInfo::base);
    tree.toProtoBuf(*answer.mutable_device_tree());
    return reply.DebugString();
}

// Extensions come after the reply's own fields.
void sendWith(std::string_view tree, socket::Socket& socket) {
    device_tree::ReverseWriter head;
    head.prependFieldHead(ServiceToApiReplyGetMonitoringInfo::kDeviceTreeFieldNumber, tree.size());
    head.prependFieldHead(ServiceToApiReplyGetMonitoringInfo::kBaseFieldNumber,
                          head.size() + tree.size());
    socket.sendParts({replyWithoutTree().SerializeAsString(), head.view(), tree});
}

}  // namespace

// A tree of thousands of nodes is many times dearer to build as a message than to copy: its bytes
// are there already, but for what has changed since the last batch.
void ApiToServiceRequestHandler::handleGetMonitoringInfoRequest(Request&, HandlerFrame& frame) {
    const DeviceNode snapshot = *dependencies.devices.getTree().lock();
    frame.send([&] { return textOf(snapshot); },
               [&](socket::Socket& on) {
                   dependencies.devices.withMessageOf(
                       snapshot, [&on](std::string_view tree) { sendWith(tree, on); });
               });
}

}  // namespace tarn::service
