#include "tests/gateway/AskedService.h"

#include "platform/socket/Socket.h"
#include "proto/api_service.pb.h"

namespace tarn::test {

using proto::api_service::ApiToServiceRequest;
using proto::api_service::ServiceToApiReply;
using proto::api_service::ServiceToApiReplyGetMonitoringInfo;

AskedService::AskedService(const std::string& requests, const ServiceEventBatch& tree)
    : current(tree),
      thread([this, requests](const std::stop_token& stop) { serve(stop, requests); }) {
    listens.wait(false);
}

void AskedService::changeTo(const ServiceEventBatch& tree) {
    *current.lock() = tree;
}

void AskedService::serve(const std::stop_token& stop, const std::string& requests) {
    socket::Socket socket("asked service", socket::ClosePolicy::Flush);
    socket.createAndConnect(socket::Protocol::Reply, socket::SocketEndpoint::FromString(requests),
                            0);
    listens = true;
    listens.notify_all();
    while (!stop.stop_requested()) {
        std::string error;
        if (socket.poll(10, error) != 0) {
            continue;
        }
        ApiToServiceRequest request;
        socket.receiveProtoBuf(&request, 1000);
        ServiceToApiReply reply;
        reply.set_type(ServiceToApiReply::GET_MONITORING_INFO);
        reply.set_success(request.type() == ApiToServiceRequest::GET_MONITORING_INFO);
        *reply.MutableExtension(ServiceToApiReplyGetMonitoringInfo::base)->mutable_device_tree() =
            current.lock()->device_tree();
        ++count;
        socket.sendProtoBuf(&reply);
    }
}

}  // namespace tarn::test
