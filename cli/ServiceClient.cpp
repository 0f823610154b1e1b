#include "cli/ServiceClient.h"

#include <fmt/format.h>

#include <stdexcept>
#include <utility>

#include "cli/CommandError.h"
#include "proto/api_service.pb.h"

namespace tarn::cli {

using namespace proto::api_service;

ServiceClient::ServiceClient(socket::SocketEndpoint endpoint, std::chrono::milliseconds timeout)
    : endpoint(std::move(endpoint)), defaultBound(timeout), channel(this->endpoint) {}

ServiceToApiReplyInfo ServiceClient::info() {
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::GET_INFO);
    return ask(request, ServiceToApiReply::INFO).GetExtension(ServiceToApiReplyInfo::base);
}

std::vector<RunningJob> ServiceClient::jobs(const ApiToServiceRequestGetJobs& filter) {
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::GET_JOBS);
    *request.MutableExtension(ApiToServiceRequestGetJobs::base) = filter;
    const ServiceToApiReply reply = ask(request, ServiceToApiReply::GET_JOBS);
    const auto& found = reply.GetExtension(ServiceToApiReplyGetJobs::base).running_jobs();
    return {found.begin(), found.end()};
}

std::vector<RunningJob> ServiceClient::jobs() {
    return jobs(ApiToServiceRequestGetJobs());
}

std::optional<RunningJob> ServiceClient::findJob(const std::string& id) {
    return findJob(id, defaultBound);
}

std::optional<RunningJob> ServiceClient::findJob(const std::string& id,
                                                 std::chrono::milliseconds bound) {
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::GET_JOB_BY_UUID);
    request.MutableExtension(ApiToServiceRequestGetJobByUuid::base)->set_uuid(id);
    const ServiceToApiReply reply = ask(request, ServiceToApiReply::GET_JOB_BY_UUID, bound);
    const auto& found = reply.GetExtension(ServiceToApiReplyGetJobByUuid::base);
    return found.has_running_job() ? std::optional(found.running_job()) : std::nullopt;
}

ServiceToApiReplyJobSubmission ServiceClient::submitJob(
    const ApiToServiceRequestJobSubmission& submission) {
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::JOB_SUBMISSION);
    *request.MutableExtension(ApiToServiceRequestJobSubmission::base) = submission;
    return ask(request, ServiceToApiReply::JOB_SUBMISSION)
        .GetExtension(ServiceToApiReplyJobSubmission::base);
}

ServiceToApiReplyEngineSubmission ServiceClient::submitEngine(
    const ApiToServiceRequestEngineSubmission& submission) {
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::ENGINE_SUBMISSION);
    *request.MutableExtension(ApiToServiceRequestEngineSubmission::base) = submission;
    return ask(request, ServiceToApiReply::ENGINE_SUBMISSION)
        .GetExtension(ServiceToApiReplyEngineSubmission::base);
}

ServiceToApiReply ServiceClient::ask(const ApiToServiceRequest& request, int replyType) {
    return ask(request, replyType, defaultBound);
}

ServiceToApiReply ServiceClient::ask(const ApiToServiceRequest& request, int replyType,
                                     std::chrono::milliseconds bound) {
    ServiceToApiReply reply;
    channel.ask(request, reply, bound);
    if (reply.type() != replyType) {
        throw CommandError(
            ExitStatus::Failed,
            fmt::format("unexpected answer from {}: type {} instead of {}", channel.endpointText(),
                        static_cast<int>(reply.type()), replyType));
    }
    if (!reply.success()) {
        throw CommandError(ExitStatus::Failed, reply.error_message().empty()
                                                   ? "refused by the service without a reason"
                                                   : reply.error_message());
    }
    return reply;
}

socket::SocketEndpoint ServiceClient::endpointOfJob(const std::string& text) const {
    try {
        const auto job = socket::SocketEndpoint::FromString(text);
        if (job.transport() == socket::Transport::Tcp && job.host() == "*" &&
            endpoint.transport() == socket::Transport::Tcp) {
            return {job.transport(), endpoint.host(), job.port()};
        }
        return job;
    } catch (const std::invalid_argument& e) {
        throw CommandError(ExitStatus::Failed, std::string("the job's endpoint: ") + e.what());
    }
}

}  // namespace tarn::cli
