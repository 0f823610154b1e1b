#include "platform/resource_manager/server/RequestDispatcher.h"

#include <list>
#include <stdexcept>
#include <utility>

#include "proto/resource_manager.pb.h"

namespace tarn::resource_manager {

using tarn::proto::resource_manager::Reply;
using tarn::proto::resource_manager::Request;

namespace {

void require(bool present, const Request& request, const char* field) {
    if (!present) {
        throw std::runtime_error("Request " + Request::Type_Name(request.type()) + " without " +
                                 field);
    }
}

PropertyMatch matchOf(const Request& request) {
    require(request.has_property(), request, "property");
    require(request.has_value(), request, "value");
    PropertyMatch match;
    match.property = request.property();
    match.value = request.value();
    match.compared = request.exact()    ? PropertyMatch::Compared::WholeValue
                     : request.prefix() ? PropertyMatch::Compared::Beginning
                                        : PropertyMatch::Compared::AnyPart;
    match.letters = request.ignore_case() ? PropertyMatch::Letters::CaseIgnored
                                          : PropertyMatch::Letters::Distinct;
    match.wanted =
        request.negate() ? PropertyMatch::Wanted::NotMatching : PropertyMatch::Wanted::Matching;
    return match;
}

void addJobs(const std::list<RunningJob>& jobs, Reply& reply) {
    for (const auto& job : jobs) {
        *reply.add_jobs() = job.toProtoBuf();
    }
}

void addJobWithUuid(const Registry& registry, const Request& request, Reply& reply) {
    require(request.has_job_id(), request, "job_id");
    const auto job = registry.runningJobWithUuid(request.job_id());
    if (job.getProcess().id != 0) {
        *reply.add_jobs() = job.toProtoBuf();
    }
}

void addUsedResources(const Registry& registry, const Request& request, Reply& reply) {
    require(request.has_resource_type(), request, "resource_type");
    for (auto& value : registry.usedResources(request.resource_type())) {
        reply.add_resources(std::move(value));
    }
}

}  // namespace

RequestDispatcher::RequestDispatcher(std::shared_ptr<Registry> registry)
    : registry(std::move(registry)) {}

Reply RequestDispatcher::answer(const Request& request) const {
    Reply reply;
    reply.set_type(request.type());
    try {
        serve(request, reply);
        reply.set_success(true);
    } catch (const std::exception& e) {
        reply.set_success(false);
        reply.set_error_message(e.what());
    }
    return reply;
}

void RequestDispatcher::serve(const Request& request, Reply& reply) const {
    switch (request.type()) {
        case Request::REGISTER_JOB:
            require(request.has_job(), request, "job");
            return registry->registerJob(RunningJob(request.job()));
        case Request::UNREGISTER_JOB:
            require(request.has_job_id(), request, "job_id");
            return registry->unregisterJob(request.job_id(),
                                           {request.process_id(), request.process_start_time()});
        case Request::GET_RUNNING_JOBS:
            return addJobs(registry->runningJobs(), reply);
        case Request::GET_RUNNING_JOB_WITH_UUID:
            return addJobWithUuid(*registry, request, reply);
        case Request::GET_RUNNING_JOBS_WITH_PROPERTY_AND_VALUE:
            return addJobs(registry->jobsThatMatch(matchOf(request)), reply);
        case Request::GET_USED_RESOURCES:
            return addUsedResources(*registry, request, reply);
        case Request::CLEAR_DEAD_PROCESSES:
            return registry->clearDeadProcesses();
        case Request::SET_DELTACAST_CONFIGURATION:
            require(request.has_deltacast_configuration(), request, "deltacast_configuration");
            return registry->setDeltacastConfiguration(
                DeltacastConfiguration(request.deltacast_configuration()));
        case Request::GET_DELTACAST_CONFIGURATION:
            *reply.mutable_deltacast_configuration() =
                registry->deltacastConfiguration().toProtoBuf();
            return;
        case Request::UNKNOWN:
            break;
    }
    throw std::runtime_error("Unknown type of request to the resource manager");
}

}  // namespace tarn::resource_manager
