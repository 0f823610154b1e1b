#include "peers/job_runtime/pipeline/StopEscalation.h"

namespace tarn::peers {

void StopEscalation::begin(Clock::time_point now) {
    if (!due) {
        due = now + toFinish;
    }
}

std::optional<StopEscalation::Clock::time_point> StopEscalation::deadline() const {
    return next ? due : std::nullopt;
}

std::optional<StopEscalation::Step> StopEscalation::take(Clock::time_point now) {
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
