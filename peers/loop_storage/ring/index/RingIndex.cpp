#include "peers/loop_storage/ring/index/RingIndex.h"

#include <algorithm>
#include <string>
#include <utility>

#include "peers/loop_storage/StorageError.h"

namespace tarn::peers::loop_storage {

RingIndex::RingIndex(std::uint64_t dataSize, std::uint64_t slots)
    : dataSize(dataSize), slots(slots) {}

void RingIndex::restore(std::deque<FrameInfo> found, std::uint64_t nextSequence,
                        std::uint64_t limit, std::optional<std::int64_t> lost) {
    frames = std::move(found);
    lastLost = lost;
    following = nextSequence;
    written = frames.empty() ? limit : std::max(limit, frames.back().end());
    dropGone(following);
    // Behind what is gone there would be no room for the next one either.
    head = frames.empty() ? written : frames.back().end();
}

// What the frame goes over is forgotten here, before its first byte is written: a reader must not
// find a frame whose bytes are another's already.
FrameInfo RingIndex::reserve(std::int64_t timePoint, std::uint64_t size) {
    if (size > dataSize) {
        throw StorageError(TARN_STORAGE_ERROR_ARGUMENT, "A frame of " + std::to_string(size) +
                                                            " bytes is larger than the ring" +
                                                            " of " + std::to_string(dataSize));
    }
    if (!frames.empty() && timePoint <= frames.back().timePoint) {
        throw StorageError(TARN_STORAGE_ERROR_ARGUMENT,
                           "Time point " + std::to_string(timePoint) + " does not come after " +
                               std::to_string(frames.back().timePoint));
    }
    const FrameInfo frame{
        .sequence = following, .timePoint = timePoint, .position = head, .size = size};
    written = std::max(written, frame.end());
    dropGone(following + 1);
    return frame;
}

void RingIndex::commit(const FrameInfo& frame) {
    frames.push_back(frame);
    following = frame.sequence + 1;
    head = frame.end();
}

// The number that is used up is the record's that tells of the clearing.
std::uint64_t RingIndex::clear() {
    while (!frames.empty()) {
        drop();
    }
    return following++;
}

std::uint64_t RingIndex::extent() const {
    return frames.empty() ? 0 : newest().end() - oldest().position;
}

// A frame is whole as long as nothing beyond one round after its beginning has been written, and
// its record as long as no later one has taken its slot.
void RingIndex::dropGone(std::uint64_t upcoming) {
    while (!frames.empty() && (frames.front().position + dataSize < written ||
                               frames.front().sequence + slots < upcoming)) {
        drop();
    }
}

void RingIndex::drop() {
    lastLost = frames.front().timePoint;
    frames.pop_front();
}

const FrameInfo* RingIndex::fromSequence(std::uint64_t sequence) const {
    const auto found = std::lower_bound(
        frames.begin(), frames.end(), sequence,
        [](const FrameInfo& frame, std::uint64_t wanted) { return frame.sequence < wanted; });
    return found == frames.end() ? nullptr : &*found;
}

const FrameInfo* RingIndex::fromTimePoint(std::int64_t timePoint) const {
    const auto found = std::lower_bound(
        frames.begin(), frames.end(), timePoint,
        [](const FrameInfo& frame, std::int64_t wanted) { return frame.timePoint < wanted; });
    return found == frames.end() ? nullptr : &*found;
}

bool RingIndex::holds(std::uint64_t sequence) const {
    const auto* const frame = fromSequence(sequence);
    return frame != nullptr && frame->sequence == sequence;
}

bool RingIndex::hasLost(std::int64_t timePoint) const {
    return lastLost && *lastLost >= timePoint;
}

}  // namespace tarn::peers::loop_storage
