#include "platform/resource_manager/server/SocketBackend.h"

#include <cstdint>
#include <stdexcept>
#include <utility>

#include "platform/socket/Exchange.h"
#include "proto/resource_manager.pb.h"

namespace tarn::resource_manager {

using tarn::proto::resource_manager::Reply;
using tarn::proto::resource_manager::Request;

namespace {

constexpr std::uint32_t maxReplyBytes = 64U << 20U;

Request requestOf(Request::Type type) {
    Request request;
    request.set_type(type);
    return request;
}

std::list<RunningJob> jobsOf(const Reply& reply) {
    std::list<RunningJob> jobs;
    for (const auto& job : reply.jobs()) {
        jobs.emplace_back(job);
    }
    return jobs;
}

}  // namespace

SocketBackend::SocketBackend(tarn::socket::SocketEndpoint endpoint)
    : SocketBackend(std::move(endpoint), Bounds()) {}

SocketBackend::SocketBackend(tarn::socket::SocketEndpoint endpoint, Bounds bounds)
    : endpoint(std::move(endpoint)), answerBound(bounds.answer) {
    auto locked = connection.lock();
    locked->socket.watchConnection();
    locked->socket.createAndConnect(tarn::socket::Protocol::Request, this->endpoint,
                                    static_cast<std::uint32_t>(bounds.connecting.count()));
}

Reply SocketBackend::ask(const Request& request) {
    Reply reply;
    receiveAnswer(request, reply);
    if (reply.type() != request.type()) {
        throw std::runtime_error("The resource manager answered another request");
    }
    if (!reply.success()) {
        throw std::runtime_error(reply.error_message().empty()
                                     ? "The resource manager refused without a reason"
                                     : reply.error_message());
    }
    return reply;
}

void SocketBackend::receiveAnswer(const Request& request, Reply& reply) {
    auto locked = connection.lock();
    try {
        exchange(locked->socket, request, reply, maxReplyBytes, {.within = answerBound});
    } catch (const std::exception&) {
        locked->socket.connect(endpoint, /*timeoutMs=*/0);
        throw;
    }
}

std::list<RunningJob> SocketBackend::runningJobs() {
    return jobsOf(ask(requestOf(Request::GET_RUNNING_JOBS)));
}

std::list<RunningJob> SocketBackend::jobsThatMatch(const PropertyMatch& match) {
    auto request = requestOf(Request::GET_RUNNING_JOBS_WITH_PROPERTY_AND_VALUE);
    request.set_property(match.property);
    request.set_value(match.value);
    request.set_exact(match.compared == PropertyMatch::Compared::WholeValue);
    request.set_prefix(match.compared == PropertyMatch::Compared::Beginning);
    request.set_ignore_case(match.letters == PropertyMatch::Letters::CaseIgnored);
    request.set_negate(match.wanted == PropertyMatch::Wanted::NotMatching);
    return jobsOf(ask(request));
}

RunningJob SocketBackend::runningJobWithUuid(const std::string& uuid) {
    auto request = requestOf(Request::GET_RUNNING_JOB_WITH_UUID);
    request.set_job_id(uuid);
    const auto reply = ask(request);
    return reply.jobs().empty() ? RunningJob() : RunningJob(reply.jobs(0));
}

std::list<std::string> SocketBackend::usedResources(const std::string& type) {
    auto request = requestOf(Request::GET_USED_RESOURCES);
    request.set_resource_type(type);
    const auto reply = ask(request);
    return {reply.resources().begin(), reply.resources().end()};
}

void SocketBackend::clearDeadProcesses() {
    ask(requestOf(Request::CLEAR_DEAD_PROCESSES));
}

void SocketBackend::registerJob(const RunningJob& job) {
    auto request = requestOf(Request::REGISTER_JOB);
    *request.mutable_job() = job.toProtoBuf();
    ask(request);
}

void SocketBackend::unregisterJob(const std::string& uuid) {
    const auto process = os::ProcessIdentity::ofThisProcess();
    auto request = requestOf(Request::UNREGISTER_JOB);
    request.set_job_id(uuid);
    request.set_process_id(process.id);
    request.set_process_start_time(process.startTime);
    ask(request);
}

void SocketBackend::setDeltacastConfiguration(const DeltacastConfiguration& configuration) {
    auto request = requestOf(Request::SET_DELTACAST_CONFIGURATION);
    *request.mutable_deltacast_configuration() = configuration.toProtoBuf();
    ask(request);
}

bool SocketBackend::awaitLoss(int interruption, std::chrono::milliseconds bound) {
    return connection.lock()->socket.awaitLoss(interruption,
                                               static_cast<std::uint32_t>(bound.count()));
}

DeltacastConfiguration SocketBackend::deltacastConfiguration() {
    return DeltacastConfiguration(
        ask(requestOf(Request::GET_DELTACAST_CONFIGURATION)).deltacast_configuration());
}

}  // namespace tarn::resource_manager
