#pragma once

#include <algorithm>
#include <chrono>

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

    bool hasPassed() const { return Clock::now() >= end; }

  private:
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end;
};

}  // namespace tarn::os
