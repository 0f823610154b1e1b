#include "peers/job_runtime/pipeline/ProcessEnd.h"

#include <string.h>

namespace tarn::peers {

namespace {

std::string signalName(int signal) {
    const char* const name = ::sigdescr_np(signal);
    return name != nullptr ? name : "unknown";
}

}  // namespace

std::string describe(const ProcessEnd& end) {
    if (end.signal) {
        return "killed by signal " + std::to_string(*end.signal) + " (" + signalName(*end.signal) +
               ")";
    }
    if (end.exitStatus) {
        return "exited with status " + std::to_string(*end.exitStatus);
    }
    return "did not end";
}

}  // namespace tarn::peers
