#pragma once

#include <string>

#include "cli/ExitStatus.h"
#include "proto/job_monitoring.fwd.h"

namespace tarn::cli {

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

}  // namespace tarn::cli
