#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <utility>

namespace tarn::utils {

/// Lets one of many equal log lines through in a while. One thread at a time.
class Throttle {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    explicit Throttle(std::chrono::steady_clock::duration interval) : interval(interval) {}

    /// To be called for each occurrence: how many there were since the last line, this one
    /// included, if it is time for a line; the first time it is.
    std::optional<std::uint64_t> occurred(TimePoint now) {
        ++silent;
        if (next && now < *next) {
            return std::nullopt;
        }
        next = now + interval;
        return std::exchange(silent, 0);
    }

  private:
    const std::chrono::steady_clock::duration interval;
    std::optional<TimePoint> next;
    std::uint64_t silent = 0;
};

}  // namespace tarn::utils
