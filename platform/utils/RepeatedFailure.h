#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <utility>

#include "platform/utils/Log.h"
#include "platform/utils/Throttle.h"

namespace tarn::utils {

/// The log lines of something that may fail again and again, as often as somebody outside likes:
/// the first one is written at once, then one a second at most, which says how many were not
/// written since the one before. One thread at a time.
class RepeatedFailure {
  public:
    using Now = std::function<Throttle::TimePoint()>;

    explicit RepeatedFailure(LogLevel level, Now now = std::chrono::steady_clock::now)
        : level(level), now(std::move(now)) {}

    void log(const std::string& line) {
        if (const auto count = throttle.occurred(now())) {
            utils::log(level, *count == 1 ? line
                                          : line + " (and " + std::to_string(*count - 1) +
                                                " times before, not logged)");
        }
    }

  private:
    const LogLevel level;
    const Now now;
    Throttle throttle{std::chrono::seconds(1)};
};

}  // namespace tarn::utils
