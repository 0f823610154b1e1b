#include "peers/job_runtime/events/JobVoice.h"

#include <algorithm>

#include "peers/job_runtime/events/EventPublisher.h"
#include "peers/job_runtime/events/JobStatus.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"
#include "proto/pipeline_control.pb.h"

namespace tarn::peers {

using namespace tarn::proto::job_monitoring;

namespace {

// The state is said again when nothing else was, for those who came late.
constexpr std::chrono::milliseconds heartbeat{1200};

JobEventProgress toProgress(const tarn::proto::pipeline_control::PipelineReport& report) {
    JobEventProgress progress;
    if (report.has_position_ns()) {
        progress.set_position_ns(report.position_ns());
    }
    if (report.has_duration_ns()) {
        progress.set_duration_ns(report.duration_ns());
    }
    if (report.has_position_ns() && report.duration_ns() > 0) {
        const auto fraction =
            static_cast<double>(report.position_ns()) / static_cast<double>(report.duration_ns());
        progress.set_fraction(std::clamp(fraction, 0.0, 1.0));
    }
    return progress;
}

}  // namespace

JobVoice::JobVoice(JobStatus& status, EventPublisher& events, Now clock)
    : status(status),
      events(events),
      now(std::move(clock)),
      subscribedBy(now() + timeToSubscribe),
      heartbeatAt(now()) {}

void JobVoice::show(JobState next) {
    if (std::exchange(state, next) != next) {
        utils::logInfo("State " + JobState_Name(next));
        status.update([&](JobStatus::Reply& reply) { reply.set_state(next); });
        publishState();
    }
}

void JobVoice::progress(const tarn::proto::pipeline_control::PipelineReport& report) {
    const auto progress = toProgress(report);
    status.update([&](JobStatus::Reply& reply) {
        reply.clear_fraction();
        reply.clear_duration_ns();
        if (progress.has_position_ns()) {
            reply.set_position_ns(progress.position_ns());
        }
        if (progress.has_duration_ns()) {
            reply.set_duration_ns(progress.duration_ns());
        }
        if (progress.has_fraction()) {
            reply.set_fraction(progress.fraction());
        }
    });
    publishState();
    events.tell(JobEvent::PROGRESS, progress);
}

void JobVoice::failure(const std::string& message, const std::string& detail) {
    utils::logError("Failure: " + utils::printable(message, mostLogText) + " " +
                    utils::printable(detail, mostLogText));
    status.update([&](JobStatus::Reply& reply) { reply.set_last_failure(message); });
    unpublishedFailures.emplace_back(message, detail);
    step(now());
}

void JobVoice::lack(const std::string& message) {
    status.update([&](JobStatus::Reply& reply) { reply.set_last_failure(message); });
    unpublishedFailures.emplace_back(message, std::string());
}

void JobVoice::step(Clock::time_point at) {
    if (!unpublishedFailures.empty() && subscribersAreThere(at)) {
        publishFailures();
    }
    if (at >= heartbeatAt) {
        publishState();
    }
}

JobVoice::Clock::time_point JobVoice::deadline() const {
    return unpublishedFailures.empty() ? heartbeatAt : std::min(heartbeatAt, subscribedBy);
}

void JobVoice::end(const RunResult& result) {
    events.awaitSubscriber(subscribedBy);
    publishFailures();
    show(JOB_STATE_ENDED);
    utils::logInfo("Ended: " + utils::printable(result.message, mostLogText));
    events.end(result, subscribedBy);
}

void JobVoice::publishState() {
    heartbeatAt = now() + heartbeat;
    JobEventState content;
    content.set_state(state);
    events.tell(JobEvent::STATE, content);
}

void JobVoice::publishFailures() {
    for (const auto& [message, detail] : std::exchange(unpublishedFailures, {})) {
        events.failure(message, detail);
    }
}

bool JobVoice::subscribersAreThere(Clock::time_point at) {
    return at >= subscribedBy || events.hasSubscriber();
}

}  // namespace tarn::peers
