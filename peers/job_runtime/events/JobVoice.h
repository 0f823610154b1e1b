#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "proto/job_monitoring.pb.h"
#include "proto/pipeline_control.fwd.h"

namespace tarn::peers {

class EventPublisher;
class JobStatus;
struct RunResult;

/// What a job tells the world: the same in its status, as events and in its log.
///
/// A job is so young at first that those who were told of its event endpoint may not have
/// subscribed yet. Its failures and its end wait for them, a moment.
class JobVoice {
  public:
    using Clock = std::chrono::steady_clock;

    /// How long a subscriber may take to be there after the job's endpoints were bound.
    static constexpr std::chrono::milliseconds timeToSubscribe{300};

    /// Of a message from outside the log takes so many bytes.
    static constexpr std::size_t mostLogText = 4096;

    using Now = std::function<Clock::time_point()>;

    /// Made when the event endpoint has just been bound. The references must outlive the object.
    JobVoice(JobStatus& status, EventPublisher& events, Now now);

    /// Says the state when it is new.
    void show(tarn::proto::job_monitoring::JobState state);
    void progress(const tarn::proto::pipeline_control::PipelineReport& report);
    void failure(const std::string& message, const std::string& detail);
    /// A failure that is in the log already.
    void lack(const std::string& message);

    /// Says the state again for those who came late, and failures that had to wait.
    void step(Clock::time_point at);
    Clock::time_point deadline() const;

    /// The last words.
    void end(const RunResult& result);

  private:
    void publishState();
    void publishFailures();
    bool subscribersAreThere(Clock::time_point at);

    JobStatus& status;
    EventPublisher& events;
    const Now now;
    const Clock::time_point subscribedBy;
    tarn::proto::job_monitoring::JobState state = tarn::proto::job_monitoring::JOB_STATE_UNKNOWN;
    Clock::time_point heartbeatAt;
    std::vector<std::pair<std::string, std::string>> unpublishedFailures;  // message, detail
};

}  // namespace tarn::peers
