#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "peers/job_runtime/events/JobVoice.h"
#include "peers/job_runtime/pipeline/PipelineProcess.h"
#include "peers/job_runtime/pipeline/RunResult.h"
#include "peers/job_runtime/supervision/JobLifecycle.h"

namespace tarn::peers {

class Admission;
class EventPublisher;
class JobStatus;
class Persistence;
class SetupAnswer;
class StopRequest;
struct JobSetup;

/// Sees a job through, from its setup to its end: follows the pipeline process, tells of it, plays
/// a persistent job again after a failure, and ends it when that is wished. Where the job stands,
/// and what is due when, is the lifecycle's affair; this carries it out.
///
/// Always: there is a process exactly while there is a run; the setup is answered once; what was
/// checked and could be prepared once is kept, if it is to be, before that is answered.
class JobSupervisor {
  public:
    using Clock = JobLifecycle::Clock;

    /// What the supervisor works with; all must outlive it.
    struct Dependencies {
        const JobSetup& setup;
        JobStatus& status;
        EventPublisher& events;
        StopRequest& stop;
        Persistence& persistence;  ///< a job that is not kept ends at its first failure
        Admission& admission;
        SetupAnswer& answer;
        JobLifecycle::Now now = Clock::now;
    };

    /// `process` is one that was told nothing yet; none where it could not be started, which is
    /// tried again then.
    JobSupervisor(const Dependencies& dependencies, std::unique_ptr<PipelineProcess> process);

    /// Returns when the job is over.
    void run();

    /// Instead: the job is over before it began.
    void refuse(const std::string& reason);

    /// Of a job that is over: tells it to whoever waits for the setup, and to the subscribers.
    void tellEnd();

    /// Whether the job was ever ready to play, or is persistent and was to be tried again. One that
    /// was neither is refused.
    bool wasSetUp() const { return lifecycle.wasSetUp(); }

  private:
    using Report = tarn::proto::pipeline_control::PipelineReport;

    Clock::time_point nextDeadline() const;
    void waitForSomething() const;
    void step(Clock::time_point now);
    void stepRunning(Clock::time_point now);
    void followWish(Clock::time_point now);
    void followAdmission(Clock::time_point now);
    void follow(JobLifecycle::Due due, Clock::time_point now);
    void takeReports(Clock::time_point now);
    void handle(const Report& report, Clock::time_point now);
    template <typename Command>
    void command(Command what);

    void startRun(Clock::time_point now);
    void playAgain(Clock::time_point now);
    void getReady();
    void failUnready(Clock::time_point now);
    void endRun(const RunResult& result, Clock::time_point now);
    void end(const RunResult& result);
    void dropProcess();

    void keep();
    void tellWhatIsNotKept();
    void forgetWhatEndedForGood();

    const Dependencies job;
    JobVoice voice;
    std::unique_ptr<PipelineProcess> process;
    JobLifecycle lifecycle;
    bool wasReady = false;            // in any run: before that there is nothing worth keeping
    std::string toldProblem;          // with the persistent file
    std::optional<RunResult> result;  // the job's, once it is over
};

}  // namespace tarn::peers
