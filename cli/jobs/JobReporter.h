#pragma once

#include <chrono>
#include <iosfwd>
#include <string>

#include "cli/output/Terminal.h"
#include "proto/job_monitoring.fwd.h"

namespace tarn::cli {

class Output;

/// Is told of a job while it is being watched.
class JobReporter {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    virtual ~JobReporter() = default;
    virtual void event(const proto::job_monitoring::JobEvent& event, TimePoint now) = 0;
    /// No event comes any more.
    virtual void finish() {}
};

/// For people, on the error stream: one line that is drawn again and again on a terminal, else a
/// line every few seconds; other events as lines of their own.
class ProgressReporter : public JobReporter {
  public:
    /// The stream outlives this. `name` is what the job is called in front of everything.
    ProgressReporter(std::ostream& err, Terminal terminal, std::string name);

    void event(const proto::job_monitoring::JobEvent& event, TimePoint now) override;
    void finish() override;

  private:
    void progress(const proto::job_monitoring::JobEvent& event, TimePoint now);
    void showState(int state);
    void line(const std::string& text);
    void clearBar();

    std::ostream& err;
    const Terminal terminal;
    const std::string name;
    int shownState = -1;
    TimePoint nextLine;  // not before this, where every progress is a line
    enum class Drawn { Nothing, Bar } drawn = Drawn::Nothing;
};

/// For programs: each event as one line of JSON on the output.
class JsonEventReporter : public JobReporter {
  public:
    explicit JsonEventReporter(Output& output) : output(output) {}
    void event(const proto::job_monitoring::JobEvent& event, TimePoint now) override;

  private:
    Output& output;
};

/// "playing", "waiting to restart"; of tarn.proto.job_monitoring.JobState.
std::string stateText(int jobState);

}  // namespace tarn::cli
