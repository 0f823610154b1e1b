#include "cli/jobs/JobClient.h"

#include <fmt/format.h>

#include "cli/CommandError.h"
#include "proto/api_job.pb.h"

namespace tarn::cli {

using namespace proto::api_job;

JobClient::JobClient(const socket::SocketEndpoint& commandEndpoint,
                     std::chrono::milliseconds timeout)
    : channel(commandEndpoint, RequestChannel::Absence::IsWaitedOut), timeout(timeout) {}

JobToApiReplyStatus JobClient::status() {
    sendStatusRequest();
    return receiveStatus();
}

void JobClient::destroy(StopOption option) {
    sendDestroyRequest(option);
    receiveDestroyed();
}

void JobClient::sendDestroyRequest(StopOption option) {
    ApiToJobRequest request;
    request.set_type(ApiToJobRequest::DESTROY);
    request.MutableExtension(ApiToJobRequestDestroy::base)
        ->set_destroy_option(option == StopOption::ForGood);
    channel.send(request, timeout);
}

void JobClient::receiveDestroyed() {
    JobToApiReply reply;
    receive(reply, JobToApiReply::DESTROY);
}

void JobClient::sendStatusRequest() {
    ApiToJobRequest request;
    request.set_type(ApiToJobRequest::STATUS);
    channel.send(request, timeout);
}

JobToApiReplyStatus JobClient::receiveStatus() {
    JobToApiReply reply;
    receive(reply, JobToApiReply::STATUS);
    return reply.GetExtension(JobToApiReplyStatus::base);
}

void JobClient::receive(JobToApiReply& reply, int type) {
    channel.receive(reply);
    if (reply.type() == JobToApiReply::ERROR || (reply.type() == type && !reply.success())) {
        throw CommandError(ExitStatus::Failed, reply.error_message().empty()
                                                   ? "refused by the job without a reason"
                                                   : reply.error_message());
    }
    if (reply.type() != type) {
        throw CommandError(
            ExitStatus::Failed,
            fmt::format("unexpected answer from {}: type {} instead of {}", channel.endpointText(),
                        static_cast<int>(reply.type()), type));
    }
}

}  // namespace tarn::cli
