#pragma once

#include <algorithm>
#include <chrono>

namespace tarn::socket {

/// How long one visitor has kept a thread that serves others as well: a quarter of its time on
/// average, so that who asks beside him mostly finds it free. One thread at a time.
class ServingTime {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Duration = std::chrono::steady_clock::duration;

    static constexpr int share = 4;                          ///< one part of so many
    static constexpr std::chrono::milliseconds atOnce{500};  ///< before he has to wait
    static constexpr std::chrono::seconds longestPause{1};   ///< however long one request took

    /// When he may be served again.
    TimePoint due() const { return free - share * atOnce; }

    /// He was served for so long, until `now`.
    void spend(Duration time, TimePoint now) {
        const auto latest = now + share * atOnce + longestPause;
        free = std::min(std::max(free, now) + share * time, latest);
    }

    /// Whether all of it is made up for.
    bool isForgotten(TimePoint now) const { return free <= now; }

  private:
    TimePoint free{};  // when it will be
};

}  // namespace tarn::socket
