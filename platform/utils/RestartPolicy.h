#pragma once

#include <chrono>
#include <optional>

namespace tarn::utils {

/// How long what has failed waits before it is started again: half a second at first, twice as long
/// after each failure, 30 seconds at most; from the beginning again after a good run.
class RestartPolicy {
  public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::milliseconds firstDelay{500};
    static constexpr std::chrono::milliseconds longestDelay{30'000};
    static constexpr std::chrono::seconds goodRun{30};

    /// It works as it should since now.
    void playing(Clock::time_point now);

    /// The run is over, whether it ever worked or not; how long to wait from now.
    std::chrono::milliseconds failed(Clock::time_point now);

  private:
    std::chrono::milliseconds delay = firstDelay;
    std::optional<Clock::time_point> playingSince;
};

}  // namespace tarn::utils
