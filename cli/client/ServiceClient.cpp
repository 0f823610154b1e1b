#include "cli/client/ServiceClient.h"

#include <fmt/format.h>

#include <stdexcept>
#include <utility>

#include "cli/CommandError.h"
#include "platform/socket/PublishingEndpoint.h"
#include "proto/api_service.pb.h"

namespace tarn::cli {

using namespace proto::api_service;

namespace {

CommandError unexpectedType(const std::string& endpoint, int type, int expected) {
    return {ExitStatus::Failed, fmt::format("unexpected answer from {}: type {} instead of {}",
                                            endpoint, type, expected)};
}

template <typename Reply>
void refuseFailure(const Reply& reply) {
    if (!reply.success()) {
        throw CommandError(ExitStatus::Failed, reply.error_message().empty()
                                                   ? "refused by the service without a reason"
                                                   : reply.error_message());
    }
}

}  // namespace

ServiceClient::ServiceClient(socket::SocketEndpoint endpoint, std::chrono::milliseconds timeout,
                             Absence absence)
    : endpoint(std::move(endpoint)), defaultBound(timeout), channel(this->endpoint, absence) {}

ServiceToApiReplyInfo ServiceClient::info() {
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::GET_INFO);
    return ask(request, ServiceToApiReply::INFO).GetExtension(ServiceToApiReplyInfo::base);
}

proto::monitoring::DeviceNode ServiceClient::deviceTree() {
    return deviceTree(defaultBound);
}

proto::monitoring::DeviceNode ServiceClient::deviceTree(std::chrono::milliseconds bound) {
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::GET_MONITORING_INFO);
    ServiceToApiReply reply = ask(request, ServiceToApiReply::GET_MONITORING_INFO, bound);
    return std::move(
        *reply.MutableExtension(ServiceToApiReplyGetMonitoringInfo::base)->mutable_device_tree());
}

socket::SocketEndpoint ServiceClient::publishingEndpoint() {
    const auto events = reachable(info().events_endpoint(), "the service's events endpoint");
    try {
        return socket::publishingEndpointFor(events);
    } catch (const std::invalid_argument& e) {
        throw CommandError(ExitStatus::Failed, e.what());
    }
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

proto::loop_storage::Reply ServiceClient::operateStorage(
    const proto::loop_storage::Request& operation) {
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::LOOP_STORAGE);
    *request.MutableExtension(ApiToServiceRequestLoopStorage::base)->mutable_request() = operation;
    auto reply = ask(request, ServiceToApiReply::LOOP_STORAGE)
                     .GetExtension(ServiceToApiReplyLoopStorage::base)
                     .reply();
    if (reply.success() && reply.type() != operation.type() + 1) {
        throw unexpectedType(channel.endpointText(), reply.type(), operation.type() + 1);
    }
    refuseFailure(reply);
    return reply;
}

ServiceToApiReplyGetDeltacast ServiceClient::capture() {
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::GET_DELTACAST);
    return ask(request, ServiceToApiReply::GET_DELTACAST)
        .GetExtension(ServiceToApiReplyGetDeltacast::base);
}

void ServiceClient::configureCapture(
    const proto::deltacast_configuration::DeltacastConfig& format) {
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::CONFIGURE_DELTACAST);
    *request.MutableExtension(ApiToServiceRequestConfigureDeltacast::base)->mutable_config() =
        format;
    ask(request, ServiceToApiReply::CONFIGURE_DELTACAST);
}

ServiceToApiReply ServiceClient::ask(const ApiToServiceRequest& request, int replyType) {
    return ask(request, replyType, defaultBound);
}

ServiceToApiReply ServiceClient::ask(const ApiToServiceRequest& request, int replyType,
                                     std::chrono::milliseconds bound) {
    ServiceToApiReply reply;
    channel.ask(request, reply, bound);
    if (reply.type() != replyType) {
        throw unexpectedType(channel.endpointText(), reply.type(), replyType);
    }
    refuseFailure(reply);
    return reply;
}

socket::SocketEndpoint ServiceClient::endpointOfJob(const std::string& text) const {
    return reachable(text, "the job's endpoint");
}

socket::SocketEndpoint ServiceClient::reachable(const std::string& text,
                                                const std::string& whose) const {
    try {
        const auto given = socket::SocketEndpoint::FromString(text);
        if (given.transport() == socket::Transport::Tcp && given.host() == "*" &&
            endpoint.transport() == socket::Transport::Tcp) {
            return {given.transport(), endpoint.host(), given.port()};
        }
        return given;
    } catch (const std::invalid_argument& e) {
        throw CommandError(ExitStatus::Failed, whose + ": " + e.what());
    }
}

}  // namespace tarn::cli
