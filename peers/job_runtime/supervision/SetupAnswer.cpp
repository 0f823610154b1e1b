#include "peers/job_runtime/supervision/SetupAnswer.h"

namespace tarn::peers {

void SetupAnswer::accept() {
    give({.refusal = {}, .warning = warning});
}

void SetupAnswer::refuse(const std::string& reason) {
    give({.refusal = reason, .warning = {}});
}

void SetupAnswer::step(Clock::time_point now) {
    if (acceptAt && now >= *acceptAt) {
        accept();
    }
}

void SetupAnswer::give(const SetupVerdict& verdict) {
    if (acceptAt) {
        acceptAt.reset();
        send(verdict);
    }
}

}  // namespace tarn::peers
