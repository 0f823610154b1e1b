#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "peers/loop_storage/ring/index/FrameInfo.h"

namespace tarn::peers::loop_storage {

/// Which frames a ring holds, and which of them go when another is put in. Not thread-safe.
///
/// A frame is written in two steps: `reserve` forgets every frame that it goes over, before a byte
/// of it is written; `commit` adds it. What is reserved and never committed is simply reserved
/// again by the next one.
class RingIndex {
  public:
    /// A ring of `dataSize` bytes that holds at most `slots` frames.
    RingIndex(std::uint64_t dataSize, std::uint64_t slots);

    /// The frames found on disk, oldest first; `limit`: how far positions have been written. Those
    /// that are gone by that are left out. `lost`: the last time point that went before.
    void restore(std::deque<FrameInfo> found, std::uint64_t nextSequence, std::uint64_t limit,
                 std::optional<std::int64_t> lost = {});

    /// The new frame, not yet part of the ring. Throws StorageError when the frame is larger than
    /// the ring or its time point does not grow.
    FrameInfo reserve(std::int64_t timePoint, std::uint64_t size);
    void commit(const FrameInfo& frame);
    /// Forgets every frame. Uses up a sequence number, which is returned.
    std::uint64_t clear();

    bool empty() const { return frames.empty(); }
    const FrameInfo& oldest() const { return frames.front(); }
    const FrameInfo& newest() const { return frames.back(); }
    const std::deque<FrameInfo>& all() const { return frames; }
    std::uint64_t nextSequence() const { return following; }
    /// No position from here on has ever been written.
    std::uint64_t limit() const { return written; }
    /// The limit once a frame of this size has been reserved.
    std::uint64_t limitWith(std::uint64_t size) const { return std::max(written, head + size); }
    /// The bytes that the frames take, from the oldest's first to the newest's last.
    std::uint64_t extent() const;

    /// The first frame of at least this sequence number, or time point; null when there is none.
    const FrameInfo* fromSequence(std::uint64_t sequence) const;
    const FrameInfo* fromTimePoint(std::int64_t timePoint) const;
    bool holds(std::uint64_t sequence) const;
    /// Whether a frame of this time point or a later one has been gone over.
    bool hasLost(std::int64_t timePoint) const;
    /// The time point of the last one that has gone.
    std::optional<std::int64_t> lost() const { return lastLost; }

  private:
    void dropGone(std::uint64_t upcoming);
    void drop();

    const std::uint64_t dataSize;
    const std::uint64_t slots;
    std::deque<FrameInfo> frames;
    std::uint64_t following = 0;
    std::uint64_t head = 0;
    std::uint64_t written = 0;
    std::optional<std::int64_t> lastLost;
};

}  // namespace tarn::peers::loop_storage
