// What readers and the writer of a track do.
#include <utility>

#include "peers/loop_storage/SharedMemory.h"
#include "peers/loop_storage/StorageError.h"
#include "peers/loop_storage/Track.h"
#include "peers/loop_storage/TrackFiles.h"

namespace tarn::peers::loop_storage {

FrameInfo Track::reserve(std::int64_t timePoint, std::uint64_t size) {
    std::unique_lock lock(mutex);
    const auto frame = ring->reserve(timePoint, size);
    if (ring->limit() > allowedLimit) {
        lock.unlock();
        checkpoint();
        lock.lock();
    }
    if (sharedLimit) {
        sharedLimit->raise(ring->limit());
    }
    const LimitRecord record{.count = ++limitCount, .limit = ring->limit()};
    const auto open = files;
    lock.unlock();
    errors.noting([&] { open->index.put(record); });
    return frame;
}

bool Track::mustWaitToReserve(std::uint64_t size) const {
    const std::lock_guard lock(mutex);
    return ring->limitWith(size) > allowedLimit;
}

void Track::write(const FrameInfo& frame, std::uint64_t offset, std::string_view bytes) {
    std::shared_ptr<TrackFiles> open;
    std::uint64_t ringSize = 0;
    {
        const std::lock_guard lock(mutex);
        open = files;
        ringSize = dataSize;
    }
    errors.noting([&] {
        writeRing(open->data, ringSize, frame.position + offset, bytes.data(), bytes.size());
    });
}

void Track::commit(const FrameInfo& frame) {
    {
        const std::lock_guard oneAtATime(recordMutex);
        FrameRecord record{.kind = FrameRecord::Kind::Frame, .frame = frame, .oldest = 0};
        std::shared_ptr<TrackFiles> open;
        {
            const std::lock_guard lock(mutex);
            record.frame.sequence = ring->nextSequence();  // a clearing may have come between
            record.oldest = ring->empty() ? record.frame.sequence : ring->oldest().sequence;
            open = files;
        }
        errors.noting([&] { open->index.put(record, slots); });
        const std::lock_guard lock(mutex);
        ring->commit(record.frame);
    }
    wakeReaders();
}

std::uint64_t Track::begin(Origin origin, std::int64_t timePoint) const {
    const std::lock_guard lock(mutex);
    if (origin == Origin::Live || ring->empty()) {
        return ring->nextSequence();
    }
    if (origin == Origin::Oldest) {
        return ring->oldest().sequence;
    }
    if (ring->hasLost(timePoint)) {
        return 0;
    }
    const auto* const frame = ring->fromTimePoint(timePoint);
    return frame != nullptr ? frame->sequence : ring->nextSequence();
}

Track::Place Track::placeOf(std::uint64_t sequence) const {
    const std::lock_guard lock(mutex);
    return {.reading = foundAt(sequence), .files = files, .ringSize = dataSize};
}

// It may have been gone over while it was read.
Track::Reading Track::stillThere(const Reading& reading) const {
    const std::lock_guard lock(mutex);
    return ring->holds(reading.frame.sequence) ? reading : overtaken(reading.frame.sequence);
}

Track::Reading Track::unreadable(Reading reading, const std::system_error& failure) const {
    errors.note(failure);
    reading.result = ReadResult::Unreadable;
    reading.failure = failure.what();
    return stillThere(reading);
}

Track::Reading Track::read(std::uint64_t sequence, std::vector<char>& bytes) const {
    const auto place = placeOf(sequence);
    const auto& frame = place.reading.frame;
    if (place.reading.result != ReadResult::Frame) {
        return place.reading;
    }
    bytes.resize(static_cast<std::size_t>(frame.size));
    try {
        readRing(place.files->data, place.ringSize, frame.position, bytes.data(), bytes.size());
    } catch (const std::system_error& failure) {
        return unreadable(place.reading, failure);
    }
    return stillThere(place.reading);
}

Track::Reading Track::readFromMemory(std::uint64_t sequence, std::vector<char>& bytes) const {
    auto place = placeOf(sequence);
    const auto& frame = place.reading.frame;
    if (place.reading.result != ReadResult::Frame) {
        return place.reading;
    }
    bytes.resize(static_cast<std::size_t>(frame.size));
    if (!readRingFromMemory(place.files->data, place.ringSize, frame.position, bytes.data(),
                            bytes.size())) {
        place.reading.result = ReadResult::OnDisk;
    }
    return stillThere(place.reading);
}

Track::Reading Track::find(std::uint64_t sequence) const {
    const std::lock_guard lock(mutex);
    return foundAt(sequence);
}

Track::Reading Track::foundAt(std::uint64_t sequence) const {
    const auto* const found = ring->fromSequence(sequence);
    if (found == nullptr && ring->nextSequence() <= sequence) {
        return {};
    }
    if (found == nullptr || found->sequence != sequence) {
        return overtaken(sequence);
    }
    return {.result = ReadResult::Frame, .frame = *found, .next = sequence + 1, .oldest = {}};
}

Track::Shared Track::share() {
    Shared shared;
    std::shared_ptr<TrackFiles> open;
    {
        const std::lock_guard lock(mutex);
        if (!sharedLimit) {
            sharedLimit = std::make_shared<SharedLimit>(ring->limit());
        }
        shared.limit = sharedLimit;
        open = files;
    }
    shared.data = errors.noting([&] { return open->data.openForReading(); });
    return shared;
}

// It goes on with what comes next: the oldest frame, or the one after a damaged record.
Track::Reading Track::overtaken(std::uint64_t sequence) const {
    Reading reading{
        .result = ReadResult::Overtaken, .frame = {}, .next = ring->nextSequence(), .oldest = {}};
    if (const auto* const next = ring->fromSequence(sequence)) {
        reading.next = next->sequence;
        reading.oldest = next->timePoint;
    }
    return reading;
}

std::uint64_t Track::callWhenReadable(std::uint64_t sequence, std::function<void()> callback) {
    {
        const std::lock_guard lock(mutex);
        if (ring->nextSequence() <= sequence) {
            waiting.emplace(++lastCall, std::move(callback));
            return lastCall;
        }
    }
    callback();
    return 0;
}

void Track::callOff(std::uint64_t call) {
    const std::lock_guard lock(mutex);
    waiting.erase(call);
}

void Track::wakeReaders() {
    std::map<std::uint64_t, std::function<void()>> woken;
    {
        const std::lock_guard lock(mutex);
        woken.swap(waiting);
    }
    for (const auto& [call, callback] : woken) {
        callback();
    }
}

}  // namespace tarn::peers::loop_storage
