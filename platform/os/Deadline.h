#pragma once

#include <algorithm>
#include <chrono>
#include <limits>

namespace tarn::os {

/// The end of a bounded wait.
class Deadline {
  public:
    explicit Deadline(std::chrono::milliseconds bound) : end(Clock::now() + bound) {}

    /// Rounded up, so that what remains is never waited for in a busy loop; not negative.
    std::chrono::milliseconds remaining() const {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        return std::max(left, std::chrono::milliseconds(0));
    }

    /// The same, as poll takes it; a longer time is cut to the longest that it can wait.
    int remainingForPoll() const {
        constexpr std::chrono::milliseconds longest(std::numeric_limits<int>::max());
        return static_cast<int>(std::min(remaining(), longest).count());
    }

    bool hasPassed() const { return Clock::now() >= end; }

  private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point end;
};

}  // namespace tarn::os
