#include "cli/jobs/JobOutcome.h"

#include <fmt/format.h>

#include <cstring>

#include "cli/client/Session.h"
#include "proto/job_monitoring.pb.h"

namespace tarn::cli {

using proto::job_monitoring::JobEventEnd;

namespace {

std::string signalText(int signal) {
    const char* name = ::sigabbrev_np(signal);
    return name == nullptr ? fmt::format("signal {}", signal)
                           : fmt::format("signal {} (SIG{})", signal, name);
}

std::string details(const JobEventEnd& end) {
    std::string text;
    if (end.has_signal()) {
        text += ", " + signalText(end.signal());
    } else if (end.has_exit_status() && end.exit_status() != 0) {
        text += fmt::format(", exit status {}", end.exit_status());
    }
    return end.message().empty() ? text : text + ": " + end.message();
}

}  // namespace

ExitStatus JobOutcome::exitStatus() const {
    switch (kind) {
        case Kind::EndOfStream:
            return ExitStatus::Done;
        case Kind::NoAnswer:
            return ExitStatus::NoAnswer;
        case Kind::Interrupted:
            return ExitStatus::Interrupted;
        default:
            return ExitStatus::Failed;
    }
}

const char* JobOutcome::word() const {
    switch (kind) {
        case Kind::EndOfStream:
            return "end_of_stream";
        case Kind::Destroyed:
            return "destroyed";
        case Kind::Failed:
            return "failed";
        case Kind::Crashed:
            return "crashed";
        case Kind::NotStarted:
            return "not_started";
        case Kind::Gone:
            return "gone";
        case Kind::NoAnswer:
            return "no_answer";
        case Kind::Interrupted:
            return "interrupted";
        case Kind::UnknownEnd:
            break;
    }
    return "unknown";
}

JobOutcome JobOutcome::fromEnd(const std::string& jobId, const JobEventEnd& end) {
    const std::string job = "job " + jobId;
    switch (end.reason()) {
        case JobEventEnd::END_OF_STREAM:
            return {Kind::EndOfStream, job + " ended: end of stream"};
        case JobEventEnd::DESTROYED:
            return {Kind::Destroyed, job + " was destroyed" + details(end)};
        case JobEventEnd::FAILED:
            return {Kind::Failed, job + " failed" + details(end)};
        case JobEventEnd::CRASHED:
            return {Kind::Crashed, job + " crashed" + details(end)};
        case JobEventEnd::UNKNOWN:
            break;
    }
    return {Kind::UnknownEnd, job + " ended for an unknown reason" + details(end)};
}

ExitStatus conclude(const JobOutcome& outcome, const Session& session) {
    const ExitStatus status = outcome.exitStatus();
    if (status != ExitStatus::Done) {
        session.output.notice(outcome.text);
    } else if (session.format == Format::Text) {
        session.output.line(outcome.text);
    }
    return status;
}

}  // namespace tarn::cli
