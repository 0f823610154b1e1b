#pragma once

#include <optional>
#include <string>

#include "peers/job_runtime/pipeline/ProcessEnd.h"
#include "proto/job_monitoring.pb.h"

namespace tarn::peers {

/// Collects what is learnt about one run of the pipeline.
struct RunFacts {
    enum class Ending {
        Open,         ///< nothing said yet
        StopAsked,    ///< somebody asked for it
        EndOfStream,  ///< reported by the pipeline
        Failure,      ///< reported by the pipeline
    };

    /// The first one counts: what comes after it is its consequence.
    void note(Ending what);

    Ending ending = Ending::Open;
    std::string failure;  ///< the first one's message
};

/// What one run came to.
struct RunResult {
    tarn::proto::job_monitoring::JobEventEnd::Reason reason;
    ProcessEnd processEnd;  ///< empty when there was no process
    std::string message;    ///< for people

    bool failed() const;
};

RunResult judge(const RunFacts& facts, const ProcessEnd& end);

}  // namespace tarn::peers
