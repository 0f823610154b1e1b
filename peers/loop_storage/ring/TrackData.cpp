// What readers and the writer of a track do.
#include <utility>

#include "peers/loop_storage/StorageError.h"
#include "peers/loop_storage/ring/SharedMemory.h"
#include "peers/loop_storage/ring/Track.h"
#include "peers/loop_storage/ring/TrackFiles.h"
#include "platform/storage_wire/Checksum.h"

namespace tarn::peers::loop_storage {

namespace {

// What the checksum has just been made of is still near the processor when it is written.
constexpr std::size_t writtenAtOnce = 128U << 10U;

}  // namespace

// The limit goes to the index, and to readers of the file itself, before the first byte: whoever
// finds the file after a crash knows how far frames may be torn.
FrameInfo Track::reserve(std::int64_t timePoint, std::uint64_t size) {
    FrameInfo frame;
    bool mustWait = false;
    {
        const std::lock_guard lock(mutex);
        checkWritable();
        frame = ring->reserve(timePoint, size);
        mustWait = ring->limit() > allowedLimit;
    }
    if (mustWait) {
        checkpoint();
    }
    LimitRecord record;
    std::shared_ptr<TrackFiles> open;
    {
        const std::lock_guard lock(mutex);
        checkWritable();
        if (sharedLimit) {
            sharedLimit->raise(ring->limit());
        }
        record = {.count = ++limitCount, .limit = ring->limit()};
        writtenChecksum = 0;
        open = files;
    }
    onDisk([&] { open->index.put(record); });
    return frame;
}

bool Track::mustWaitToReserve(std::uint64_t size) const {
    const std::lock_guard lock(mutex);
    return ring->limitWith(size) > allowedLimit;
}

void Track::write(const FrameInfo& frame, std::uint64_t offset, std::string_view bytes) {
    std::shared_ptr<TrackFiles> open;
    std::uint64_t ringSize = 0;
    std::uint32_t sum = 0;
    {
        const std::lock_guard lock(mutex);
        checkWritable();
        open = files;
        ringSize = dataSize;
        sum = writtenChecksum;
    }
    const auto put = [&](std::size_t begin, std::string_view piece) {
        errors.noting([&] {
            writeRing(open->data, ringSize, frame.position + offset + begin, piece.data(),
                      piece.size());
        });
    };
    if (frame.checksum) {
        put(0, bytes);
        return;
    }
    for (std::size_t done = 0; done < bytes.size(); done += writtenAtOnce) {
        const auto piece = bytes.substr(done, writtenAtOnce);
        sum = storage_wire::checksum(piece.data(), piece.size(), sum);
        put(done, piece);
    }
    const std::lock_guard lock(mutex);
    writtenChecksum = sum;
}

void Track::commit(const FrameInfo& frame) {
    putCommitted(frame);
    wakeReaders();
}

void Track::putCommitted(const FrameInfo& frame) {
    const std::lock_guard oneAtATime(recordMutex);
    FrameRecord record{.kind = FrameRecord::Kind::Frame, .frame = frame, .oldest = 0, .lost = {}};
    std::shared_ptr<TrackFiles> open;
    {
        const std::lock_guard lock(mutex);
        checkWritable();
        record.frame.sequence = ring->nextSequence();  // a clearing may have come between
        record.frame.checksum = frame.checksum.value_or(writtenChecksum);
        record.oldest = oldestSequence();
        record.lost = ring->lost();
        open = files;
    }
    onDisk([&] { open->index.put(record, slots); });
    const std::lock_guard lock(mutex);
    ring->commit(record.frame);
}

// A time point that has gone begins at 0, so that the reader is told that it comes too late.
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

Track::Reading Track::unreadable(Reading reading, const std::system_error& problem) const {
    errors.note(problem);
    reading.result = ReadResult::Unreadable;
    reading.failure = problem.what();
    return stillThere(reading);
}

Track::Reading Track::read(std::uint64_t sequence, std::vector<char>& bytes) const {
    const auto reading = readFromMemory(sequence, bytes);
    if (reading.result != ReadResult::OnDisk) {
        return reading;
    }
    const auto place = placeOf(sequence);
    const auto& frame = place.reading.frame;
    if (place.reading.result != ReadResult::Frame) {
        return place.reading;
    }
    noteFetch();
    try {
        readRing(place.files->data, place.ringSize, frame.position, bytes.data(), bytes.size());
    } catch (const std::system_error& failure) {
        return unreadable(place.reading, failure);
    }
    return checked(place.reading, bytes);
}

Track::Reading Track::readFromMemory(std::uint64_t sequence, std::vector<char>& bytes) const {
    auto place = placeOf(sequence);
    const auto& frame = place.reading.frame;
    if (place.reading.result != ReadResult::Frame) {
        return place.reading;
    }
    bytes.resize(static_cast<std::size_t>(frame.size));
    if (readRingFromMemory(place.files->data, place.ringSize, frame.position, bytes.data(),
                           bytes.size())) {
        return checked(place.reading, bytes);
    }
    place.reading.result = ReadResult::OnDisk;
    return stillThere(place.reading);
}

// The system fetches more than it is asked for, and what it has fetched is in memory from then on.
void Track::noteFetch() const {
    const std::lock_guard lock(mutex);
    hasFetched = true;
}

// Bytes that this server has written and nobody had to fetch since are memory: nothing can have
// happened to them that a checksum would show.
bool Track::mustCheck(const FrameInfo& frame) const {
    return frame.checksum && (frame.sequence < firstOwn || hasFetched || !failure.empty());
}

// Only of a frame that is still there it means something that its bytes are others.
Track::Reading Track::checked(const Reading& reading, const std::vector<char>& bytes) const {
    bool isDoubtful = false;
    {
        const std::lock_guard lock(mutex);
        isDoubtful = mustCheck(reading.frame);
    }
    if (!isDoubtful ||
        *reading.frame.checksum == storage_wire::checksum(bytes.data(), bytes.size())) {
        return stillThere(reading);
    }
    const std::lock_guard lock(mutex);
    if (!ring->holds(reading.frame.sequence)) {
        return overtaken(reading.frame.sequence);
    }
    ++damagedFrames;
    auto damaged = reading;
    damaged.result = ReadResult::Damaged;
    return damaged;
}

std::uint64_t Track::nextSequence() const {
    const std::lock_guard lock(mutex);
    return ring->nextSequence();
}

Track::Reading Track::find(std::uint64_t sequence) const {
    const std::lock_guard lock(mutex);
    auto reading = foundAt(sequence);
    if (!mustCheck(reading.frame)) {
        reading.frame.checksum.reset();
    }
    return reading;
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

// Called without the mutex: they ask this track at once.
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
