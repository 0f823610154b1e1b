#include "platform/utils/RestartPolicy.h"

#include <algorithm>

namespace tarn::utils {

void RestartPolicy::playing(Clock::time_point now) {
    playingSince = now;
}

std::chrono::milliseconds RestartPolicy::failed(Clock::time_point now) {
    if (playingSince && now - *playingSince >= goodRun) {
        delay = firstDelay;
    }
    playingSince.reset();
    const auto wait = delay;
    delay = std::min(delay * 2, longestDelay);
    return wait;
}

}  // namespace tarn::utils
