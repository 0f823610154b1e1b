#include "cli/jobs/JobWatcher.h"

#include <algorithm>

#include "cli/CommandError.h"
#include "cli/Interrupt.h"
#include "cli/client/ServiceClient.h"
#include "cli/jobs/JobReporter.h"
#include "proto/api_job.pb.h"
#include "proto/api_service.pb.h"
#include "proto/job_monitoring.pb.h"

namespace tarn::cli {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

// A question holds up the display, so it is short even where the operator is patient.
constexpr std::chrono::milliseconds longestQuestion = 1s;
constexpr std::chrono::milliseconds longestWait = 1h;

std::chrono::milliseconds waitUntil(Clock::time_point then) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(then - Clock::now());
    return std::clamp(left, 0ms, longestWait);
}

}  // namespace

JobWatcher::JobWatcher(ServiceClient& service, const proto::api_service::RunningJob& job)
    : service(service),
      jobId(job.job_description().job_id()),
      bound(std::min(service.timeout(), longestQuestion)),
      commands(service.endpointOfJob(job.command_endpoint()), bound),
      events(service.endpointOfJob(job.event_endpoint())) {}

JobOutcome JobWatcher::watch(JobFollower::Begin begin, JobReporter& reporter,
                             const Interrupt& interrupt) {
    JobFollower follower(jobId, begin, service.timeout(), Clock::now());
    while (!follower.outcome() && !interrupt.requested()) {
        if (const auto event =
                events.next(waitUntil(follower.nextCheck()), interrupt.descriptor())) {
            if (follower.onEvent(*event, Clock::now())) {
                reporter.event(*event, Clock::now());
            }
        }
        if (!follower.outcome() && Clock::now() >= follower.nextCheck()) {
            const Presence presence = askForJob();
            follower.onPresence(presence, Clock::now());
        }
    }
    reporter.finish();
    return follower.outcome().value_or(
        JobOutcome{JobOutcome::Kind::Interrupted, "interrupted; job " + jobId + " goes on"});
}

Presence JobWatcher::askForJob() {
    try {
        return service.findJob(jobId, bound) ? Presence::Running : Presence::Absent;
    } catch (const CommandError&) {
        return askJobItself();
    }
}

Presence JobWatcher::askJobItself() {
    try {
        const auto status = commands.status();
        return status.job_description().job_id() == jobId ? Presence::Running : Presence::Unknown;
    } catch (const CommandError&) {
        return Presence::Unknown;
    }
}

}  // namespace tarn::cli
