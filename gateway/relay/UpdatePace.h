#pragma once

#include <algorithm>
#include <chrono>

namespace tarn::gateway {

/// When the next update goes out: at once where the last one is a while ago, else together with
/// what else comes until then. One thread at a time.
class UpdatePace {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    explicit UpdatePace(std::chrono::milliseconds least) : least(least) {}

    /// How long it has to wait still; 0 when it may go out.
    std::chrono::milliseconds remaining(TimePoint now) const {
        return std::max(std::chrono::milliseconds(0),
                        std::chrono::ceil<std::chrono::milliseconds>(next - now));
    }

    void published(TimePoint now) { next = now + least; }

  private:
    const std::chrono::milliseconds least;
    TimePoint next{};
};

}  // namespace tarn::gateway
