#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "peers/job_runtime/PipelineProcess.h"
#include "peers/job_runtime/RestartPolicy.h"
#include "peers/job_runtime/RunResult.h"
#include "peers/job_runtime/StopLadder.h"
#include "proto/job_monitoring.pb.h"

namespace tarn::peers {

class EventPublisher;
class JobStatus;
class Persistence;
class StopRequest;
struct JobSetup;

/// Sees a job through, from the first playing to its end: follows the pipeline process, tells of
/// it, plays a persistent job again after a failure, and ends it when that is wished.
///
/// The job is Running while there is a process, Waiting between two runs of a persistent job, and
/// Closing when it has ended but is so young that those who were told of its event endpoint may not
/// have subscribed yet.
class JobSupervisor {
  public:
    using Clock = std::chrono::steady_clock;

    /// What the supervisor works with; all must outlive it.
    struct Surroundings {
        const JobSetup& setup;
        JobStatus& status;
        EventPublisher& events;
        StopRequest& stop;
        Persistence& persistence;  ///< a job that is not kept ends at its first failure
    };

    /// `prepared` is a process whose pipeline is ready to play; none where that failed, as
    /// `failure` says. That counts as a first run.
    JobSupervisor(const Surroundings& surroundings, std::unique_ptr<PipelineProcess> prepared,
                  std::string failure = {});

    /// Returns after the job's last event.
    void run();

  private:
    enum class Phase { Running, Waiting, Closing, Over };
    using Report = tarn::proto::pipeline_control::PipelineReport;

    Clock::time_point nextDeadline() const;
    void waitForSomething() const;
    void step(Clock::time_point now);
    void stepRunning(Clock::time_point now);

    void followWish(Clock::time_point now);
    void climb(Clock::time_point now);
    void takeReports(Clock::time_point now);
    void handle(const Report& report, Clock::time_point now);
    void handleProgress(const Report& report);
    void handleFailure(const Report& report, Clock::time_point now);
    void command(void (PipelineProcess::*what)());

    void begin();
    void startRun();
    void playAgain(Clock::time_point now);
    void endRun(const RunResult& result, Clock::time_point now);
    void close();

    void show(tarn::proto::job_monitoring::JobState state);
    void publishState();
    bool subscribersAreThere(Clock::time_point now) const;
    void publishFailures(Clock::time_point now);
    void noteFailure(const std::string& message, const std::string& detail);

    const Surroundings job;
    const Clock::time_point began = Clock::now();
    const std::string firstFailure;
    std::unique_ptr<PipelineProcess> process;
    Phase phase = Phase::Running;
    tarn::proto::job_monitoring::JobState state = tarn::proto::job_monitoring::JOB_STATE_UNKNOWN;
    RunFacts facts;
    StopLadder ladder;
    RestartPolicy policy;
    std::optional<RunResult> result;  // the job's, once it has ended
    Clock::time_point wakeAt;         // the end of Waiting or Closing
    Clock::time_point heartbeatAt;
    std::vector<std::pair<std::string, std::string>> unpublishedFailures;  // message, detail
};

}  // namespace tarn::peers
