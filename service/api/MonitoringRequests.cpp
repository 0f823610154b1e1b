#include "platform/device_tree/DeviceNode.h"
#include "platform/socket/Socket.h"
#include "proto/api_service.pb.h"
#include "service/api/ApiToServiceRequestHandler.h"
#include "service/devices/DeviceManager.h"

namespace tarn::service {

using tarn::proto::api_service::ServiceToApiReply;
using tarn::proto::api_service::ServiceToApiReplyGetMonitoringInfo;

void ApiToServiceRequestHandler::handleGetMonitoringInfoRequest(Request&, socket::Socket& socket) {
    HandlerFrame frame(forFrames, {"GetMonitoringInfo request ", "GetMonitoringInfo reply "});
    ServiceToApiReply reply;
    reply.set_type(ServiceToApiReply::GET_MONITORING_INFO);
    reply.set_success(true);
    auto& answer = *reply.MutableExtension(ServiceToApiReplyGetMonitoringInfo::base);
    const device_tree::DeviceNode snapshot = *surroundings.devices.getTree().lock();
    *answer.mutable_device_tree() = snapshot.toProtoBuf();
    frame.send(reply, socket);
}

}  // namespace tarn::service
