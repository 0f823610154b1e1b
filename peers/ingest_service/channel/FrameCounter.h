#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>

namespace tarn::peers::ingest_service {

/// Counts the frames of a channel, and those that are missing between two of them. `add` is called
/// by one thread at a time, the others by any.
class FrameCounter {
  public:
    using Time = std::chrono::nanoseconds;

    /// A frame; `time` is its time stamp, if it has one.
    void add(std::optional<Time> time, Time frameDuration);

    std::uint64_t captured() const { return capturedFrames; }
    std::uint64_t dropped() const { return droppedFrames; }

  private:
    std::optional<Time> last;
    std::atomic<std::uint64_t> capturedFrames{0};
    std::atomic<std::uint64_t> droppedFrames{0};
};

}  // namespace tarn::peers::ingest_service
