#include "cli/jobs/JobFollower.h"

#include <utility>

#include "cli/CommandError.h"
#include "proto/job_monitoring.pb.h"

namespace tarn::cli {

using namespace std::chrono_literals;
using proto::job_monitoring::JobEvent;
using proto::job_monitoring::JobEventEnd;

namespace {

constexpr auto impatient = 100ms;        // between two checks when something is amiss
constexpr auto longestSilence = 1500ms;  // a playing job reports once a second
constexpr auto lastEventGrace = 1s;

}  // namespace

JobFollower::JobFollower(std::string jobId, Begin begin, std::chrono::milliseconds timeout,
                         TimePoint now)
    : jobId(std::move(jobId)),
      timeout(timeout),
      state(begin == Begin::Submitted ? State::Appearing : State::Running),
      giveUpAt(now + timeout),
      checkAt(now + impatient) {}

bool JobFollower::onEvent(const JobEvent& event, TimePoint now) {
    if (event.job_id() != jobId) {
        return false;
    }
    onRunning(now);
    if (event.type() == JobEvent::END) {
        end = JobOutcome::fromEnd(jobId, event.GetExtension(JobEventEnd::base));
    }
    return true;
}

void JobFollower::onPresence(Presence presence, TimePoint now) {
    switch (presence) {
        case Presence::Running:
            return onRunning(now);
        case Presence::Absent:
            return onAbsent(now);
        case Presence::Unknown:
            return onUnknown(now);
    }
}

void JobFollower::onRunning(TimePoint now) {
    state = State::Running;
    silentSince.reset();
    checkAt = now + longestSilence;
}

void JobFollower::onAbsent(TimePoint now) {
    silentSince.reset();
    checkAt = now + impatient;
    if (state == State::Running) {
        state = State::Vanished;
        giveUpAt = now + lastEventGrace;
    }
    if (now < giveUpAt) {
        return;
    }
    if (state == State::Appearing) {
        end = JobOutcome{JobOutcome::Kind::NotStarted,
                         "job " + jobId + " did not start; see the service's log"};
    } else {
        end = JobOutcome{JobOutcome::Kind::Gone,
                         "job " + jobId + " is gone and did not say why; see the service's log"};
    }
}

void JobFollower::onUnknown(TimePoint now) {
    checkAt = now + impatient;
    silentSince = silentSince.value_or(now);
    if (now - *silentSince >= timeout) {
        end = JobOutcome{JobOutcome::Kind::NoAnswer,
                         "neither the service nor job " + jobId + " answers any more"};
    }
}

}  // namespace tarn::cli
