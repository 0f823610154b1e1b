#pragma once

#include <string>

#include "cli/ExitStatus.h"
#include "proto/job_monitoring.fwd.h"

namespace tarn::cli {

struct Session;

/// How watching a job ended.
struct JobOutcome {
    enum class Kind {
        EndOfStream,
        Destroyed,
        Failed,
        Crashed,
        UnknownEnd,   ///< it ended without saying why
        NotStarted,   ///< it never appeared
        Gone,         ///< it left the list of running jobs without saying a word
        NoAnswer,     ///< neither the service nor the job answers
        Interrupted,  ///< the operator stopped watching; the job goes on
    };

    Kind kind = Kind::UnknownEnd;
    std::string text;  ///< one line for people

    ExitStatus exitStatus() const;

    /// For programs: "end_of_stream", "destroyed", ...
    const char* word() const;

    /// From a job's last event.
    static JobOutcome fromEnd(const std::string& jobId,
                              const proto::job_monitoring::JobEventEnd& end);
};

/// Says how a job ended: a line for people, and a notice in any case where that is not well. Gives
/// the command's exit status.
ExitStatus conclude(const JobOutcome& outcome, const Session& session);

}  // namespace tarn::cli
