#include "service/devices/capture/DeltacastRestart.h"

#include <algorithm>

namespace tarn::service::devices {

using std::chrono::milliseconds;

void DeltacastRestart::runs(Time now) {
    if (state != State::Running) {
        state = State::Running;
        policy.playing(now);
    }
}

std::optional<milliseconds> DeltacastRestart::ended(Time now) {
    return state == State::Running ? std::optional(wait(now)) : std::nullopt;
}

std::optional<milliseconds> DeltacastRestart::failed(Time now) {
    return state == State::Starting ? std::optional(wait(now)) : std::nullopt;
}

milliseconds DeltacastRestart::wait(Time now) {
    state = State::Waiting;
    const auto delay = policy.failed(now);
    due = now + delay;
    return delay;
}

bool DeltacastRestart::takeDue(Time now) {
    if (state != State::Waiting || now < due) {
        return false;
    }
    state = State::Starting;
    return true;
}

std::optional<milliseconds> DeltacastRestart::left(Time now) const {
    if (state != State::Waiting) {
        return std::nullopt;
    }
    return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(due - now));
}

}  // namespace tarn::service::devices
