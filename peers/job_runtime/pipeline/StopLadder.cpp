#include "peers/job_runtime/pipeline/StopLadder.h"

namespace tarn::peers {

void StopLadder::begin(Clock::time_point now) {
    if (!due) {
        due = now + toFinish;
    }
}

std::optional<StopLadder::Clock::time_point> StopLadder::deadline() const {
    return next ? due : std::nullopt;
}

std::optional<StopLadder::Step> StopLadder::take(Clock::time_point now) {
    if (!due || !next || now < *due) {
        return std::nullopt;
    }
    const auto step = *next;
    switch (step) {
        case Step::Terminate:
            due = now + toTerminate;
            next = Step::Kill;
            break;
        case Step::Kill:
            due = now + toDie;
            next = Step::GiveUp;
            break;
        case Step::GiveUp:
            next.reset();
            break;
    }
    return step;
}

}  // namespace tarn::peers
