#include "peers/job_runtime/pipeline/RunResult.h"

namespace tarn::peers {

using tarn::proto::job_monitoring::JobEventEnd;

void RunFacts::note(Ending what) {
    if (ending == Ending::Open) {
        ending = what;
    }
}

bool RunResult::failed() const {
    return reason == JobEventEnd::FAILED || reason == JobEventEnd::CRASHED;
}

RunResult judge(const RunFacts& facts, const ProcessEnd& end) {
    switch (facts.ending) {
        case RunFacts::Ending::StopAsked:
            return {JobEventEnd::DESTROYED, end, "destroyed; pipeline process " + describe(end)};
        case RunFacts::Ending::EndOfStream:
            return {JobEventEnd::END_OF_STREAM, end, "end of stream"};
        case RunFacts::Ending::Failure:
            return {JobEventEnd::FAILED, end, facts.failure};
        case RunFacts::Ending::Open:
            break;
    }
    return {JobEventEnd::CRASHED, end, describe(end)};
}

}  // namespace tarn::peers
