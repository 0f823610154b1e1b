#include "tests/peers/support/JobClient.h"

#include "platform/socket/Socket.h"

namespace tarn::test {

using namespace tarn::proto::api_job;

namespace {

constexpr std::uint32_t connectMs = 5000;
constexpr std::uint32_t maxReplyBytes = 1U << 20U;

}  // namespace

void ask(const std::string& endpoint, const google::protobuf::Message& request,
         google::protobuf::Message& reply) {
    tarn::socket::Socket socket("Test client", tarn::socket::ClosePolicy::Discard);
    socket.setTimeout(std::chrono::seconds(20));
    socket.createAndConnect(tarn::socket::Protocol::Request,
                            tarn::socket::SocketEndpoint::FromString(endpoint), connectMs);
    socket.sendProtoBuf(&request);
    socket.receiveProtoBuf(&reply, maxReplyBytes);
}

tarn::proto::service_job::JobToServiceReply setUp(
    const std::string& endpoint, const tarn::proto::service_job::ServiceToJobRequest& request) {
    tarn::proto::service_job::JobToServiceReply reply;
    ask(endpoint, request, reply);
    return reply;
}

JobClient::Reply JobClient::command(ApiToJobRequest::Type type) const {
    ApiToJobRequest request;
    request.set_type(type);
    Reply reply;
    ask(endpoint, request, reply);
    return reply;
}

JobClient::Status JobClient::status() const {
    return command(ApiToJobRequest::STATUS).GetExtension(JobToApiReplyStatus::base);
}

JobClient::Reply JobClient::destroy(End end) const {
    ApiToJobRequest request;
    request.set_type(ApiToJobRequest::DESTROY);
    request.MutableExtension(ApiToJobRequestDestroy::base)->set_destroy_option(end == End::ForGood);
    Reply reply;
    ask(endpoint, request, reply);
    return reply;
}

}  // namespace tarn::test
