#include "tests/support/peers/FakeJob.h"

#include "platform/socket/Socket.h"

namespace tarn::test {

using namespace proto::api_job;
using namespace proto::job_monitoring;

namespace {

JobToApiReply statusReply(const proto::api_service::RunningJob& job, const std::string& logFile) {
    JobToApiReply reply;
    reply.set_type(JobToApiReply::STATUS);
    reply.set_success(true);
    auto& status = *reply.MutableExtension(JobToApiReplyStatus::base);
    *status.mutable_job_description() = job.job_description();
    status.set_state(JOB_STATE_PLAYING);
    status.set_position_ns(12'000'000'000);
    status.set_duration_ns(30'000'000'000);
    status.set_uptime_ns(62'000'000'000);
    status.set_restarts(2);
    status.set_last_failure("no signal on input 1");
    status.set_pipeline_pid(4242);
    status.set_log_file(logFile);
    status.set_job_configuration("videotestsrc ! fakesink");
    return reply;
}

std::unique_ptr<socket::Socket> openPublisher(const std::string& endpoint) {
    auto opened = std::make_unique<socket::Socket>("fake job", socket::ClosePolicy::Discard);
    opened->createAndConnect(socket::Protocol::Publish,
                             socket::SocketEndpoint::FromString(endpoint), 0);
    return opened;
}

}  // namespace

FakeJob::FakeJob(const std::string& id, const std::string& name)
    : job(runningJob(id, name)),
      events(openPublisher(job.event_endpoint())),
      responder(job.command_endpoint(),
                {.newRequest = [] { return std::make_unique<ApiToJobRequest>(); },
                 .answer =
                     [this](const google::protobuf::Message& request) {
                         return answer(dynamic_cast<const ApiToJobRequest&>(request));
                     },
                 .idle = [this] { publish(); }}) {}

FakeJob::~FakeJob() = default;

void FakeJob::publishes(JobEvent event) {
    if (!event.has_job_id()) {
        event.set_job_id(job.job_description().job_id());
    }
    state.lock()->event = std::make_unique<JobEvent>(std::move(event));
}

void FakeJob::refuses(const std::string& reason) {
    auto locked = state.lock();
    locked->manner = Manner::Refusing;
    locked->reason = reason;
}

void FakeJob::keepsLog(const std::string& file) {
    state.lock()->logFile = file;
}

void FakeJob::answersGarbage() {
    state.lock()->manner = Manner::Garbage;
}

void FakeJob::staysSilent() {
    state.lock()->manner = Manner::Silent;
}

void FakeJob::whenDestroyed(std::function<void()> action) {
    state.lock()->onDestroy = std::move(action);
}

std::vector<ApiToJobRequest> FakeJob::requests() const {
    return state.lock()->requests;
}

Responder::MessagePointer FakeJob::answer(const ApiToJobRequest& request) {
    auto locked = state.lock();
    locked->requests.push_back(request);
    if (locked->manner == Manner::Silent) {
        return nullptr;
    }
    if (locked->manner == Manner::Garbage) {
        return garbage();
    }
    auto reply = std::make_unique<JobToApiReply>(statusReply(job, locked->logFile));
    if (request.type() == ApiToJobRequest::DESTROY) {
        reply->ClearExtension(JobToApiReplyStatus::base);
        reply->set_type(JobToApiReply::DESTROY);
    }
    if (locked->manner == Manner::Refusing) {
        reply->set_success(false);
        reply->set_error_message(locked->reason);
    } else if (request.type() == ApiToJobRequest::DESTROY && locked->onDestroy) {
        locked->onDestroy();
    }
    return reply;
}

// On the responder's thread, which alone uses the socket.
void FakeJob::publish() {
    auto locked = state.lock();
    if (locked->event) {
        events->sendProtoBuf(locked->event.get());
    }
}

proto::api_service::RunningJob runningJob(const std::string& id, const std::string& name) {
    proto::api_service::RunningJob job;
    job.mutable_job_description()->set_job_id(id);
    job.mutable_job_description()->set_name(name);
    job.set_command_endpoint(newEndpoint());
    job.set_event_endpoint(newEndpoint());
    return job;
}

JobEvent progressEvent(double fraction) {
    JobEvent event;
    event.set_type(JobEvent::PROGRESS);
    auto& progress = *event.MutableExtension(JobEventProgress::base);
    progress.set_fraction(fraction);
    progress.set_duration_ns(100'000'000'000);
    progress.set_position_ns(static_cast<std::int64_t>(fraction * 100e9));
    return event;
}

JobEvent stateEvent(JobState jobState) {
    JobEvent event;
    event.set_type(JobEvent::STATE);
    event.MutableExtension(JobEventState::base)->set_state(jobState);
    return event;
}

JobEvent failureEvent(const std::string& message) {
    JobEvent event;
    event.set_type(JobEvent::FAILURE);
    event.MutableExtension(JobEventFailure::base)->set_message(message);
    return event;
}

JobEvent endEvent(JobEventEnd::Reason reason) {
    JobEvent event;
    event.set_type(JobEvent::END);
    event.MutableExtension(JobEventEnd::base)->set_reason(reason);
    return event;
}

JobEvent endBySignal(int signal) {
    JobEvent event = endEvent(JobEventEnd::CRASHED);
    event.MutableExtension(JobEventEnd::base)->set_signal(signal);
    return event;
}

}  // namespace tarn::test
