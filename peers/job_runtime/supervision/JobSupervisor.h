#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "peers/job_runtime/pipeline/PipelineProcess.h"
#include "peers/job_runtime/pipeline/RunResult.h"
#include "peers/job_runtime/pipeline/StopEscalation.h"
#include "peers/job_runtime/supervision/JobVoice.h"
#include "platform/utils/RestartPolicy.h"

namespace tarn::peers {

class Admission;
class EventPublisher;
class JobStatus;
class Persistence;
class SetupAnswer;
class StopRequest;
struct JobSetup;

/// Sees a job through, from its setup to its end: follows the pipeline process, tells of it, plays
/// a persistent job again after a failure, and ends it when that is wished.
///
/// The job is Running while there is a process, Waiting between two runs of a persistent job, and
/// Over when only its end is still to be told.
///
/// In each run the pipeline is checked, prepared (which opens what it names, and begins once the
/// job is admitted) and played:
///
///   Checking --parsed--> Checked --admitted--> Preparing --prepared--> Ready
class JobSupervisor {
  public:
    using Clock = std::chrono::steady_clock;

    /// How long a pipeline may take to be Ready; after that the run counts as failed. The first
    /// one's time begins with the setup. Less than the 5 seconds that the service waits for the
    /// answer to that.
    static constexpr std::chrono::milliseconds timeToGetReady{4500};

    /// What the supervisor works with; all must outlive it.
    struct Dependencies {
        const JobSetup& setup;
        JobStatus& status;
        EventPublisher& events;
        StopRequest& stop;
        Persistence& persistence;  ///< a job that is not kept ends at its first failure
        Admission& admission;
        SetupAnswer& answer;
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
    bool wasSetUp() const { return isSetUp; }

  private:
    enum class Phase { Running, Waiting, Over };
    enum class Stage { Checking, Checked, Preparing, Ready };
    using Report = tarn::proto::pipeline_control::PipelineReport;

    Clock::time_point nextDeadline() const;
    void waitForSomething() const;
    void step(Clock::time_point now);
    void stepRunning(Clock::time_point now);
    void followWish(Clock::time_point now);
    void followAdmission(Clock::time_point now);
    void climb(Clock::time_point now);
    void takeReports(Clock::time_point now);
    void handle(const Report& report, Clock::time_point now);
    void handleFailure(const Report& report, Clock::time_point now);
    template <typename Command>
    void command(Command what);

    void begin(Clock::time_point now);
    void startRun(Clock::time_point now);
    void playAgain(Clock::time_point now);
    void getReady();
    void failUnready(Clock::time_point now);
    void endRun(const RunResult& result, Clock::time_point now);
    void waitToPlayAgain(Clock::time_point now);
    void end(const RunResult& result);
    void dropProcess();

    void accept();
    void keep();
    void tellWhatIsNotKept();
    void forgetWhatEndedForGood();

    const Dependencies job;
    JobVoice voice;
    std::unique_ptr<PipelineProcess> process;
    Phase phase = Phase::Running;
    Stage stage = Stage::Checking;
    Clock::time_point readyBy;  // of this run
    RunFacts facts;
    StopEscalation ladder;
    utils::RestartPolicy policy;
    Clock::time_point wakeAt;  // the end of Waiting

    bool isSetUp = false;
    bool wasReady = false;
    bool isUnusable = false;          // the pipeline of a job that was never set up does not parse
    std::string toldProblem;          // with the persistent file
    std::optional<RunResult> result;  // the job's, once it is over
};

}  // namespace tarn::peers
