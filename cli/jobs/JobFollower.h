#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "cli/jobs/JobOutcome.h"
#include "proto/job_monitoring.fwd.h"

namespace tarn::cli {

/// Whether a job is known to run, from asking.
enum class Presence {
    Running,
    Absent,
    Unknown,  ///< neither the service nor the job answered
};

/// Decides when a job that is being watched has ended, from its events and from asking for it while
/// it is silent. Does nothing itself; time comes in with each call.
///
///   Appearing --event, running--> Running --absent--> Vanished --a second later--> Gone
///       |                          |   ^                 |
///       +--absent at the time-out  |   +-----event-------+
///          --> NotStarted          +--last event--> as it says
///
/// A job's last event may still be under way when it has left the list: hence Vanished. In every
/// state, nobody answering for the time-out ends in NoAnswer.
class JobFollower {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;
    enum class Begin {
        Submitted,  ///< may need a while to appear
        Running,    ///< was in the list a moment ago
    };

    JobFollower(std::string jobId, Begin begin, std::chrono::milliseconds timeout, TimePoint now);

    /// False for an event of another job, which is not looked at: an endpoint may have a new owner.
    bool onEvent(const proto::job_monitoring::JobEvent& event, TimePoint now);
    void onPresence(Presence presence, TimePoint now);

    /// When to ask whether the job runs, unless an event comes first.
    TimePoint nextCheck() const { return checkAt; }

    /// Set once the job has ended, or is given up.
    const std::optional<JobOutcome>& outcome() const { return end; }

  private:
    enum class State { Appearing, Running, Vanished };

    void onRunning(TimePoint now);
    void onAbsent(TimePoint now);
    void onUnknown(TimePoint now);

    const std::string jobId;
    const std::chrono::milliseconds timeout;
    State state;
    TimePoint giveUpAt;  // while Appearing or Vanished
    TimePoint checkAt;
    std::optional<TimePoint> silentSince;  // nobody has answered since
    std::optional<JobOutcome> end;
};

}  // namespace tarn::cli
