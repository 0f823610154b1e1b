#include "tests/cli/FakeService.h"

#include <algorithm>

namespace tarn::test {

using namespace proto::api_service;

namespace {

void find(const std::vector<RunningJob>& jobs, const std::string& id, ServiceToApiReply& reply) {
    auto& found = *reply.MutableExtension(ServiceToApiReplyGetJobByUuid::base);
    for (const auto& job : jobs) {
        if (job.job_description().job_id() == id) {
            *found.mutable_running_job() = job;
        }
    }
}

void describe(ServiceToApiReplyInfo& info, const std::string& eventsEndpoint) {
    info.set_service_name("TarnService");
    info.set_version("service version TODO");
    info.set_events_endpoint(eventsEndpoint);
    auto& component = *info.mutable_components_dictionary()->add_components();
    component.set_name("scaler");
    component.set_version("1.2");
    component.set_kind("video");
    component.set_description("changes the size of pictures");
    info.mutable_loop_storage_configuration()->set_address("10.0.0.7");
    info.mutable_loop_storage_configuration()->set_port(4711);
}

}  // namespace

FakeService::FakeService()
    : responder(address, {.newRequest = [] { return std::make_unique<Request>(); },
                          .answer =
                              [this](const google::protobuf::Message& request) {
                                  return answer(dynamic_cast<const Request&>(request));
                              },
                          .idle = {}}) {}

void FakeService::runs(const RunningJob& job) {
    state.lock()->jobs.push_back(job);
}

void FakeService::runsNoMore(const std::string& id) {
    auto locked = state.lock();
    std::erase_if(locked->jobs,
                  [&](const RunningJob& job) { return job.job_description().job_id() == id; });
}

void FakeService::launches(const RunningJob& endpointsOfNextJob) {
    auto locked = state.lock();
    locked->nextJob = endpointsOfNextJob;
    locked->launch = Launch::Works;
}

void FakeService::launchesNothing(const RunningJob& endpointsOfNextJob) {
    auto locked = state.lock();
    locked->nextJob = endpointsOfNextJob;
    locked->launch = Launch::Fails;
}

void FakeService::watches(const proto::monitoring::DeviceNode& tree) {
    state.lock()->tree = tree;
}

void FakeService::sendsEventsTo(const std::string& endpoint) {
    state.lock()->eventsEndpoint = endpoint;
}

void FakeService::answers(Request::ApiToServiceRequestType type, Answer answer) {
    state.lock()->answers.emplace_back(type, std::move(answer));
}

void FakeService::staysSilent() {
    state.lock()->silent = true;
}

std::vector<FakeService::Request> FakeService::requests() const {
    return state.lock()->requests;
}

Responder::MessagePointer FakeService::answer(const Request& request) {
    auto locked = state.lock();
    locked->requests.push_back(request);
    if (locked->silent) {
        return nullptr;
    }
    for (const auto& [type, special] : locked->answers) {
        if (type == request.type()) {
            return special(request);
        }
    }
    auto reply = std::make_unique<Reply>();
    reply->set_success(true);
    answerUsually(*locked, request, *reply);
    return reply;
}

void FakeService::answerUsually(State& state, const Request& request, Reply& reply) {
    switch (request.type()) {
        case Request::GET_INFO:
            reply.set_type(Reply::INFO);
            describe(*reply.MutableExtension(ServiceToApiReplyInfo::base), state.eventsEndpoint);
            break;
        case Request::GET_MONITORING_INFO:
            reply.set_type(Reply::GET_MONITORING_INFO);
            *reply.MutableExtension(ServiceToApiReplyGetMonitoringInfo::base)
                 ->mutable_device_tree() = state.tree;
            break;
        case Request::GET_JOBS:
            reply.set_type(Reply::GET_JOBS);
            for (const auto& job : state.jobs) {
                *reply.MutableExtension(ServiceToApiReplyGetJobs::base)->add_running_jobs() = job;
            }
            break;
        case Request::GET_JOB_BY_UUID:
            reply.set_type(Reply::GET_JOB_BY_UUID);
            find(state.jobs, request.GetExtension(ApiToServiceRequestGetJobByUuid::base).uuid(),
                 reply);
            break;
        case Request::JOB_SUBMISSION: {
            reply.set_type(Reply::JOB_SUBMISSION);
            auto& submitted = *reply.MutableExtension(ServiceToApiReplyJobSubmission::base);
            submitted.set_first_job_endpoint(state.nextJob.command_endpoint());
            submitted.set_second_job_endpoint(state.nextJob.event_endpoint());
            if (state.launch == Launch::Works) {
                state.jobs.push_back(state.nextJob);
            }
            break;
        }
        case Request::ENGINE_SUBMISSION: {
            reply.set_type(Reply::ENGINE_SUBMISSION);
            auto& submitted = *reply.MutableExtension(ServiceToApiReplyEngineSubmission::base);
            submitted.set_first_engine_endpoint("tcp://*:1001");
            submitted.set_second_engine_endpoint("tcp://*:1002");
            submitted.set_third_engine_endpoint("tcp://*:1003");
            submitted.set_fourth_engine_endpoint("tcp://*:1004");
            break;
        }
        default:
            break;
    }
}

}  // namespace tarn::test
