#include "tests/system/harness/Api.h"

#include <utility>

#include "platform/socket/SocketEndpoint.h"
#include "platform/utils/UuidGenerator.h"

namespace tarn::test {

namespace api = proto::api_service;

namespace {

constexpr std::uint32_t largestReply = 64u << 20;

std::vector<JobAddress> addressesOf(const api::ServiceToApiReplyGetJobs& list) {
    std::vector<JobAddress> addresses;
    for (const auto& job : list.running_jobs()) {
        addresses.push_back(
            {job.job_description().job_id(), job.command_endpoint(), job.event_endpoint()});
    }
    return addresses;
}

}  // namespace

Api::Request requestOfType(Api::Request::ApiToServiceRequestType type) {
    Api::Request request;
    request.set_type(type);
    return request;
}

Api::Request submissionOf(const JobOrder& order) {
    auto request = requestOfType(Api::Request::JOB_SUBMISSION);
    auto& submission = *request.MutableExtension(api::ApiToServiceRequestJobSubmission::base);
    submission.mutable_job_description()->set_name(order.name);
    submission.mutable_job_description()->set_job_id(
        order.id.empty() ? utils::UuidGenerator::Generate() : order.id);
    submission.set_job_configuration(order.pipeline);
    for (const auto& [name, values] : order.properties) {
        auto& property = *submission.add_properties();
        property.set_name(name);
        property.mutable_values()->Assign(values.begin(), values.end());
    }
    if (order.persistent) {
        submission.set_persistent(true);
    }
    if (!order.persistentName.empty()) {
        submission.set_persistent_job_name(order.persistentName);
    }
    return request;
}

Api::Api(const std::string& endpoint) : socket("Test client", socket::ClosePolicy::Discard) {
    socket.createAndConnect(socket::Protocol::Request, socket::SocketEndpoint::FromString(endpoint),
                            0);
}

void Api::send(const Request& request) {
    socket.sendProtoBuf(&request);
}

std::optional<Api::Reply> Api::receive(std::chrono::milliseconds bound) {
    std::string error;
    if (socket.poll(static_cast<std::uint32_t>(bound.count()), error) != 0) {
        return std::nullopt;
    }
    Reply reply;
    socket.receiveProtoBuf(&reply, largestReply);
    return reply;
}

std::optional<Api::Reply> Api::ask(const Request& request, std::chrono::milliseconds bound) {
    send(request);
    return receive(bound);
}

std::optional<api::ServiceToApiReplyInfo> Api::info() {
    const auto reply = ask(requestOfType(Request::GET_INFO));
    if (!reply || reply->type() != Reply::INFO || !reply->success()) {
        return std::nullopt;
    }
    return reply->GetExtension(api::ServiceToApiReplyInfo::base);
}

std::optional<JobAddress> Api::submit(const JobOrder& order) {
    const auto request = submissionOf(order);
    const auto reply = ask(request);
    if (!reply || reply->type() != Reply::JOB_SUBMISSION || !reply->success()) {
        return std::nullopt;
    }
    const auto& given = reply->GetExtension(api::ServiceToApiReplyJobSubmission::base);
    const auto& sent = request.GetExtension(api::ApiToServiceRequestJobSubmission::base);
    return JobAddress{sent.job_description().job_id(), given.first_job_endpoint(),
                      given.second_job_endpoint()};
}

std::optional<std::vector<JobAddress>> Api::jobs() {
    const auto reply = ask(requestOfType(Request::GET_JOBS));
    if (!reply || reply->type() != Reply::GET_JOBS || !reply->success()) {
        return std::nullopt;
    }
    return addressesOf(reply->GetExtension(api::ServiceToApiReplyGetJobs::base));
}

std::optional<std::vector<JobAddress>> Api::jobs(const std::string& property,
                                                 const std::string& value) {
    auto request = requestOfType(Request::GET_JOBS);
    auto& filter = *request.MutableExtension(api::ApiToServiceRequestGetJobs::base);
    filter.set_property(property);
    filter.set_value(value);
    const auto reply = ask(request);
    if (!reply || reply->type() != Reply::GET_JOBS || !reply->success()) {
        return std::nullopt;
    }
    return addressesOf(reply->GetExtension(api::ServiceToApiReplyGetJobs::base));
}

std::optional<api::ServiceToApiReplyGetJobByUuid> Api::job(const std::string& id) {
    auto request = requestOfType(Request::GET_JOB_BY_UUID);
    request.MutableExtension(api::ApiToServiceRequestGetJobByUuid::base)->set_uuid(id);
    const auto reply = ask(request);
    if (!reply || reply->type() != Reply::GET_JOB_BY_UUID || !reply->success()) {
        return std::nullopt;
    }
    return reply->GetExtension(api::ServiceToApiReplyGetJobByUuid::base);
}

}  // namespace tarn::test
