// When a track's files are on the disk, and what follows when they cannot be brought there.
#include <algorithm>
#include <utility>

#include "peers/loop_storage/StorageError.h"
#include "peers/loop_storage/ring/Track.h"
#include "peers/loop_storage/ring/TrackFiles.h"
#include "platform/utils/Log.h"

namespace tarn::peers::loop_storage {

namespace {

// Until the next checkpoint a writer may go over this part of its ring, or as much as the one, but
// no more than the other: after a stop of the machine all of that is read.
constexpr std::uint64_t allowedPart = 4;
constexpr std::uint64_t leastAllowed = 1ULL << 20U;
constexpr std::uint64_t mostAllowed = 1ULL << 30U;

}  // namespace

bool Track::needsCheckpoint(Need need) const {
    const std::lock_guard lock(mutex);
    return failure.empty() && lastMarking == Marking::InUse &&
           (need == Need::Committed ? checkpointedSequence != ring->nextSequence()
                                    : ring->limit() + allowance() / 2 > allowedLimit);
}

// Asked before the lock is taken, too: mostly there is nothing to do, and a checkpoint may be under
// way.
void Track::checkpointIfNeeded(Need need) {
    if (!needsCheckpoint(need)) {
        return;
    }
    const std::lock_guard oneAtATime(checkpointMutex);
    if (needsCheckpoint(need)) {  // it may have been closed meanwhile
        checkpointNow();
    }
}

void Track::checkpoint() {
    const std::lock_guard oneAtATime(checkpointMutex);
    checkpointNow();
}

void Track::flush(std::uint64_t sequence) {
    const std::lock_guard oneAtATime(checkpointMutex);
    {
        const std::lock_guard lock(mutex);
        checkWritable();
        if (checkpointedSequence >= sequence) {
            return;
        }
    }
    checkpointNow();
}

void Track::close() {
    const std::lock_guard oneAtATime(checkpointMutex);
    {
        const std::lock_guard lock(mutex);
        marking = Marking::Closed;
        if (!failure.empty()) {
            return;
        }
    }
    checkpointNow();
}

// The data goes to the disk first, then what tells of it.
void Track::checkpointNow() {
    CheckpointRecord record;
    Marking mark = Marking::Closed;
    const auto open = errors.noting([this] { return currentFiles(); });
    {
        const std::lock_guard lock(mutex);
        checkSound();
        mark = marking;
        record = {.count = checkpointCount + 1,
                  .nextSequence = ring->nextSequence(),
                  .limit = ring->limit() + (mark == Marking::Closed ? 0 : allowance()),
                  .oldest = oldestSequence(),
                  .boot = mark == Marking::Closed ? BootId{} : boot,
                  .lost = ring->lost()};
    }
    onDisk([&] {
        open->data.sync();
        open->index.put(record);
        open->index.sync();
    });
    const std::lock_guard lock(mutex);
    checkpointCount = record.count;
    checkpointedSequence = record.nextSequence;
    allowedLimit = record.limit;
    lastMarking = mark;
}

std::uint64_t Track::oldestSequence() const {
    return ring->empty() ? ring->nextSequence() : ring->oldest().sequence;
}

std::uint64_t Track::allowance() const {
    return std::min(std::clamp(dataSize / allowedPart, leastAllowed, mostAllowed), dataSize);
}

// ---- clearing -----------------------------------------------------------------------------------

void Track::clear() {
    const std::lock_guard oneAtATime(checkpointMutex);
    if (isSound()) {
        clearRing();
    } else {
        errors.noting([this] { renew(); });
        wakeReaders();
    }
}

// The checkpoint makes it hold: what the last one said of frames would hold after a stop of the
// machine.
void Track::clearRing() {
    putCleared();
    wakeReaders();
    checkpointNow();
}

void Track::putCleared() {
    const std::lock_guard oneAtATime(recordMutex);
    FrameRecord record{.kind = FrameRecord::Kind::Cleared, .frame = {}, .oldest = 0, .lost = {}};
    {
        const std::lock_guard lock(mutex);
        checkNotExclusive();
        record.frame.sequence = ring->nextSequence();
        record.frame.position = ring->limit();
        record.oldest = record.frame.sequence + 1;
        record.lost = ring->empty() ? ring->lost() : ring->newest().timePoint;
    }
    const auto open = errors.noting([this] { return currentFiles(); });
    onDisk([&] { open->index.put(record, slots); });
    const std::lock_guard lock(mutex);
    ring->clear();
}

// Nothing of the old index is used any more; positions go on, since readers may be attached.
void Track::renew() {
    const std::lock_guard noRecords(recordMutex);  // one that its writer had begun before it failed
    IndexContent content;
    {
        const std::lock_guard lock(mutex);
        checkNotExclusive();
        content.track = {.dataSize = dataSize,
                         .slots = slots,
                         .id = static_cast<std::uint64_t>(trackId),
                         .generation = generation};
        content.nextSequence = ring->nextSequence() + 1;
        content.limit = ring->limit();
        content.checkpoints = checkpointCount + 1;
        content.lost = ring->empty() ? ring->lost() : ring->newest().timePoint;
    }
    // The failure goes last: what stops on the way leaves a track that is still failed.
    const auto newIndex = indexPath().string() + ".new";
    std::filesystem::remove(newIndex);
    IndexFile::Write(newIndex, content);
    openFiles()->data.sync();
    std::filesystem::rename(newIndex, indexPath());
    syncFolder(trackFolder);
    auto renewed = openFiles();
    std::filesystem::remove(failurePath());
    syncFolder(trackFolder);
    takeRenewed(content, std::move(renewed));
}

// Also who is being attached at this moment, and has opened the old index, gets these.
void Track::takeRenewed(const IndexContent& content, std::shared_ptr<TrackFiles> renewed) {
    const std::lock_guard lock(mutex);
    if (use == Use::Attached) {
        files = std::move(renewed);
    }
    ring->clear();
    checkpointCount = content.checkpoints + 1;
    checkpointedSequence = content.nextSequence;
    allowedLimit = content.limit;
    lastMarking = Marking::Closed;
    failure.clear();
}

// ---- failing ------------------------------------------------------------------------------------

bool Track::isSound() const {
    const std::lock_guard lock(mutex);
    return failure.empty();
}

void Track::checkSound() const {
    if (!failure.empty()) {
        throw StorageError(
            TARN_STORAGE_ERROR_SERVER,
            "Track " + std::to_string(trackId) + " has failed and must be cleared: " + failure);
    }
}

void Track::checkWritable() const {
    checkSound();
    if (writerState == WriterState::Failed) {
        throw StorageError(TARN_STORAGE_ERROR_SERVER,
                           "Track " + std::to_string(trackId) +
                               " had failed and was cleared: " + "its writer must attach again");
    }
}

// The disk that fails may take the note of it all the same, and for a process that comes after this
// one memory is enough.
void Track::fail(const std::string& reason) {
    {
        const std::lock_guard lock(mutex);
        if (!failure.empty()) {
            return;
        }
        failure = reason;
        marking = Marking::Closed;
        writerState = writers > 0 ? WriterState::Failed : WriterState::Good;
    }
    utils::logError("Track " + std::to_string(trackId) + " has failed: " + reason);
    try {
        replaceFile(failurePath(), reason);
    } catch (const std::exception& failed) {
        utils::logError("Track " + std::to_string(trackId) + ": " + failed.what());
    }
}

}  // namespace tarn::peers::loop_storage
