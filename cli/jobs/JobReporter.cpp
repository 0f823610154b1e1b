#include "cli/jobs/JobReporter.h"

#include <nlohmann/json.hpp>
#include <ostream>
#include <utility>

#include "cli/jobs/JobProgress.h"
#include "cli/output/Json.h"
#include "cli/output/Output.h"
#include "cli/output/TerminalText.h"
#include "proto/job_monitoring.pb.h"

namespace tarn::cli {

using namespace proto::job_monitoring;

namespace {

constexpr std::chrono::seconds betweenLines(5);

std::string failureText(const JobEventFailure& failure) {
    const std::string text = failure.message().empty() ? "failure" : failure.message();
    return failure.detail().empty() ? text : text + " (" + failure.detail() + ")";
}

}  // namespace

ProgressReporter::ProgressReporter(std::ostream& err, Terminal terminal, std::string name)
    : err(err), terminal(terminal), name(std::move(name)) {}

void ProgressReporter::event(const JobEvent& event, TimePoint now) {
    switch (event.type()) {
        case JobEvent::PROGRESS:
            return progress(event, now);
        case JobEvent::STATE:
            return showState(event.GetExtension(JobEventState::base).state());
        case JobEvent::FAILURE:
            return line(failureText(event.GetExtension(JobEventFailure::base)));
        default:  // the end is told by whoever waits for it; the rest is for programs
            return;
    }
}

// A job says its state again and again, for those who come late.
void ProgressReporter::showState(int state) {
    if (std::exchange(shownState, state) != state) {
        line(stateText(state));
    }
}

void ProgressReporter::finish() {
    clearBar();
}

void ProgressReporter::progress(const JobEvent& event, TimePoint now) {
    const auto progress = JobProgress::fromEvent(event.GetExtension(JobEventProgress::base));
    if (terminal.progress == ProgressStyle::Bar) {
        err << '\r' << progressBar(name, progress, terminal.width) << "\x1b[K" << std::flush;
        drawn = Drawn::Bar;
    } else if (now >= nextLine) {
        err << progressText(name, progress) << std::endl;
        nextLine = now + betweenLines;
    }
}

void ProgressReporter::line(const std::string& text) {
    clearBar();
    err << escapeForTerminal(name + ": " + text) << std::endl;
}

void ProgressReporter::clearBar() {
    if (drawn == Drawn::Bar) {
        err << "\r\x1b[K" << std::flush;
        drawn = Drawn::Nothing;
    }
}

void JsonEventReporter::event(const JobEvent& event, TimePoint) {
    output.documentLine(toJson(event));
}

std::string stateText(int jobState) {
    switch (jobState) {
        case JOB_STATE_STARTING:
            return "starting";
        case JOB_STATE_PLAYING:
            return "playing";
        case JOB_STATE_STOPPING:
            return "stopping";
        case JOB_STATE_ENDED:
            return "ended";
        case JOB_STATE_WAITING_TO_RESTART:
            return "waiting to restart";
        default:
            return "unknown";
    }
}

}  // namespace tarn::cli
