#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>

namespace tarn::gateway {

/// When newcomers are let in: those who came meanwhile share one first message, and so many bytes
/// of first messages a second are enough. A small tree holds up nobody, a large one is not made
/// again for each who comes. One thread at a time.
class AdmissionPace {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    explicit AdmissionPace(std::size_t bytesPerSecond) : bytesPerSecond(bytesPerSecond) {}

    /// How long newcomers have to wait still; 0 when they may be let in.
    std::chrono::milliseconds remaining(TimePoint now) const {
        return std::max(std::chrono::milliseconds(0),
                        std::chrono::ceil<std::chrono::milliseconds>(next - now));
    }

    /// Some were let in, with a first message of this size.
    void admitted(std::size_t bytes, TimePoint now) {
        const std::chrono::duration<double> share(static_cast<double>(bytes) /
                                                  static_cast<double>(bytesPerSecond));
        next = now + std::chrono::duration_cast<std::chrono::steady_clock::duration>(share);
    }

  private:
    const std::size_t bytesPerSecond;
    TimePoint next{};
};

}  // namespace tarn::gateway
