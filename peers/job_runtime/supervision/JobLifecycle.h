#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "peers/job_runtime/pipeline/RunResult.h"
#include "peers/job_runtime/pipeline/StopEscalation.h"
#include "platform/utils/RestartPolicy.h"

namespace tarn::peers {

/// Where a job stands, what moves it on, and what is due then. It knows of no process, socket or
/// clock: what has happened is told to it together with the time.
///
/// A job is made of runs. In each the pipeline is checked, prepared (which opens what it names, and
/// begins once the job is admitted) and played:
///
///   Checking --Parsed--> Checked --Admitted--> Preparing --Prepared--> Ready
///
///   any of these --RunLost--> Waiting     the run failed, and the job is to be played again
///   Waiting --RunBegun--> Checking        the restart policy's delay has passed
///   any but Over --Ended--> Over          only its end is still to be told
///
/// What else happens in a state means nothing there and moves nothing: a report that comes late or
/// out of turn cannot make a pipeline play twice.
///
/// What ends a run begins by its being closed: a failure, the end of the stream, a process that
/// says no more, or an end that somebody wished. From then on the escalation runs, whatever the
/// state is: the pipeline has its time to end by itself, then it is made to. What comes later does
/// not change why the run ended, and gives it no more time.
///
/// Always: one run at a time; a run that is not Ready in time has failed; what was refused before
/// any run was Ready or Waiting was never set up, and one whose pipeline cannot even be parsed then
/// is never tried again.
class JobLifecycle {
  public:
    using Clock = std::chrono::steady_clock;
    using Now = std::function<Clock::time_point()>;  ///< the clock of who uses this

    enum class State { Checking, Checked, Preparing, Ready, Waiting, Over };
    enum class Event { Parsed, Admitted, Prepared, RunLost, RunBegun, Ended };

    /// The state that follows; the same one where the event means nothing.
    static State After(State state, Event event);

    /// How long a pipeline may take to be Ready. The first one's time begins with the setup. Less
    /// than the 5 seconds that the service waits for the answer to that.
    static constexpr std::chrono::milliseconds timeToGetReady{4500};

    State state() const { return current; }
    bool isOver() const { return current == State::Over; }
    /// Whether there is a run, and so a process.
    bool isRunning() const { return !isOver() && current != State::Waiting; }
    bool wasSetUp() const { return isSetUp; }

    /// False when it means nothing now.
    bool take(Event event);

    void beginRun(Clock::time_point now);
    /// The pipeline plays: from here on a good run is counted.
    void playing(Clock::time_point now) { policy.playing(now); }
    /// The run was closed by this. The first one counts: what comes after it is its consequence.
    void close(RunFacts::Ending how, Clock::time_point now);
    /// The pipeline has failed, and says so.
    void fail(const std::string& message, Clock::time_point now);
    /// What a failure is put down to, unless there is a reason already: then false.
    bool blame(const std::string& message);
    /// The process says no more: it is ending, and may hang in that.
    void closeSilently(Clock::time_point now) { escalation.begin(now); }
    bool isClosed() const { return escalation.hasBegun(); }

    /// What the run came to, if it ended like this.
    RunResult judged(const ProcessEnd& end) const { return judge(facts, end); }

    /// The run is over. How long until the next one, where this one failed and the job may be
    /// played again; nothing, and it is Over, otherwise.
    std::optional<std::chrono::milliseconds> endRun(const RunResult& result, bool mayPlayAgain,
                                                    Clock::time_point now);

    enum class Due {
        Nothing,
        Terminate,  ///< SIGTERM to the process group
        Kill,       ///< SIGKILL to it
        GiveUp,     ///< on this run: not even that helped
        NotReady,   ///< this run has failed: it had its time to get ready
        NextRun,
    };
    /// What is due, each step once.
    Due takeDue(Clock::time_point now);
    /// When something will be.
    std::optional<Clock::time_point> deadline() const;

  private:
    bool isGettingReady() const { return isRunning() && current != State::Ready; }

    State current = State::Checking;
    bool isSetUp = false;     // ever Ready or Waiting
    bool isUnusable = false;  // the pipeline of a job that was never set up does not parse
    utils::RestartPolicy policy;
    Clock::time_point nextRunAt;  // Waiting

    // Of this run.
    Clock::time_point readyBy;
    RunFacts facts;
    StopEscalation escalation;
};

}  // namespace tarn::peers
