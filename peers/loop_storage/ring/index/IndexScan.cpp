#include "peers/loop_storage/ring/index/IndexScan.h"

#include <algorithm>
#include <utility>

#include "peers/loop_storage/StorageError.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr std::uint64_t largestData = 1ULL << 50U;
constexpr std::uint64_t largestSlots = 1ULL << 24U;
constexpr std::uint64_t largestPosition = 1ULL << 62U;
constexpr std::uint64_t slotsAtOnce = 16384;

bool isPossible(const TrackRecord& track) {
    return track.dataSize > 0 && track.dataSize <= largestData && track.slots > 0 &&
           track.slots <= largestSlots;
}

// A record whose checksum holds can still be another track's, or of another size of this one.
bool isPossible(const FrameRecord& record, std::uint64_t slot, const TrackRecord& track) {
    return record.frame.sequence % track.slots == slot && record.frame.size <= track.dataSize &&
           record.frame.position <= largestPosition;
}

bool isBefore(const FrameRecord& a, const FrameRecord& b) {
    return a.frame.sequence < b.frame.sequence;
}

}  // namespace

IndexContent IndexScan::read(const BootId& boot) {
    IndexContent content;
    readHead(content);
    readSlots(content.track);
    std::sort(records.begin(), records.end(), isBefore);
    content.nextSequence = records.empty() ? 0 : records.back().frame.sequence + 1;
    takeLimit(content);
    readCheckpoint(content, boot);
    takeFrames(content);
    if (damaged > 0) {
        content.notes.push_back(std::to_string(damaged) + " damaged records in the index");
    }
    return content;
}

void IndexScan::readHead(IndexContent& content) {
    const auto size = file.size();
    head.assign(index_layout::slotsOffset, '\0');
    file.readAt(0, head.data(), std::min<std::uint64_t>(size, head.size()));
    auto track = decodeTrack(head.data() + index_layout::trackOffset);
    if (!track) {
        track = decodeTrack(head.data() + index_layout::trackCopyOffset);
        content.notes.emplace_back("The first description of the track is damaged");
    }
    if (track && track->version > indexVersion) {
        throw StorageError(TARN_STORAGE_ERROR_SERVER, file.path().string() + " is of version " +
                                                          std::to_string(track->version) +
                                                          ", and this server knows those up to " +
                                                          std::to_string(indexVersion));
    }
    if (!track || !isPossible(*track)) {
        throw StorageError(TARN_STORAGE_ERROR_SERVER,
                           file.path().string() + " does not tell what the track is");
    }
    content.track = *track;
}

// A file that has been cut is read up to there; what is missing counts as damaged.
void IndexScan::readSlots(const TrackRecord& track) {
    const auto whole =
        (std::max(file.size(), index_layout::slotsOffset) - index_layout::slotsOffset) / recordSize;
    const auto there = std::min(whole, track.slots);
    damaged += track.slots - there;
    std::vector<char> bytes(std::min(there, slotsAtOnce) * recordSize);
    for (std::uint64_t first = 0; first < there; first += slotsAtOnce) {
        const auto count = std::min(there - first, slotsAtOnce);
        file.readAt(index_layout::slotOffset(first), bytes.data(), count * recordSize);
        for (std::uint64_t i = 0; i < count; ++i) {
            takeSlot(bytes.data() + i * recordSize, first + i, track);
        }
        // In the first round, slots are used from the first on: nothing comes after a blank one.
        const bool isFirstRound = !records.empty() && records.front().frame.sequence == 0;
        if (isFirstRound && isBlank(bytes.data() + (count - 1) * recordSize)) {
            return;
        }
    }
}

void IndexScan::takeSlot(const char* bytes, std::uint64_t slot, const TrackRecord& track) {
    const auto record = decodeFrame(bytes);
    if (record && isPossible(*record, slot, track)) {
        records.push_back(*record);
    } else if (!isBlank(bytes)) {
        ++damaged;
    }
}

// The record that was to be written next may be the one that has suffered: then what it said is
// taken for as much as one more frame could have made it.
void IndexScan::takeLimit(IndexContent& content) const {
    std::uint64_t longest = 0;
    for (const auto& record : records) {
        content.limit = std::max(content.limit, record.frame.end());
        longest = std::max(longest, record.frame.size);
    }
    const auto committed = content.limit;
    for (std::uint64_t i = 0; i < 2; ++i) {
        if (const auto record = decodeLimit(head.data() + index_layout::limitOffset(i))) {
            content.limit = std::max(content.limit, record->limit);
        } else {
            content.limit = std::max(content.limit, committed + longest);
            content.notes.emplace_back("A damaged record of how far frames were written");
        }
    }
}

// The two are written in turn, so that one that did not come to its end leaves the one before it.
std::optional<CheckpointRecord> IndexScan::lastCheckpoint(IndexContent& content) const {
    std::optional<CheckpointRecord> last;
    std::optional<CheckpointRecord> before;
    for (std::uint64_t i = 0; i < 2; ++i) {
        const auto record = decodeCheckpoint(head.data() + index_layout::checkpointOffset(i));
        if (!record) {
            content.notes.emplace_back("A damaged checkpoint");
        } else if (!last || record->count > last->count) {
            before = std::exchange(last, record);
        } else {
            before = record;
        }
    }
    return before && !isComplete(*last, *before, content.track.slots) ? before : last;
}

// A checkpoint and the records of the frames that it speaks of go to the disk with one sync, in any
// order. Where one is missing of what the ring held then, the machine has stopped before that sync
// was over: nobody was promised anything yet. One that is damaged was there.
bool IndexScan::isComplete(const CheckpointRecord& last, const CheckpointRecord& before,
                           std::uint64_t slots) const {
    const auto end = last.nextSequence;
    const auto begin =
        std::max({before.nextSequence, last.oldest.value_or(0), end - std::min(end, slots)});
    if (end <= begin) {
        return true;
    }
    const auto there = std::count_if(records.begin(), records.end(), [&](const auto& record) {
        const auto after = record.frame.sequence - begin;
        return record.frame.sequence >= begin && after % slots < end - begin;
    });
    return static_cast<std::uint64_t>(there) + damaged >= end - begin;
}

// Without a checkpoint there is no word of what was on the disk that records could be held against:
// they are believed.
void IndexScan::readCheckpoint(IndexContent& content, const BootId& boot) {
    const auto last = lastCheckpoint(content);
    if (!last) {
        content.state = IndexContent::State::InUse;
        return;
    }
    content.checkpoints = last->count;
    oldestAtCheckpoint = last->oldest;
    content.nextSequence = std::max(content.nextSequence, last->nextSequence);
    const bool isNewerThanRecords =
        records.empty() || records.back().frame.sequence < last->nextSequence;
    content.lost = isNewerThanRecords ? last->lost : records.back().lost;
    if (last->boot == BootId{}) {
        content.limit = std::max(content.limit, last->limit);
    } else if (last->boot == boot) {
        content.state = IndexContent::State::InUse;
    } else {
        doubt(content, *last);
    }
}

// A clearing that has reached the disk counts, whatever before it has not.
void IndexScan::doubt(IndexContent& content, const CheckpointRecord& last) const {
    content.state = IndexContent::State::Doubtful;
    content.lost = last.lost;
    content.certain = {.sequence = last.nextSequence,
                       .limit = last.limit,
                       .next = std::max(last.nextSequence, firstUncleared()),
                       .beyond = {}};
    for (const auto& record : records) {
        if (record.frame.sequence >= content.certain.next) {
            content.certain.beyond.push_back(record.frame.sequence);
        }
    }
}

std::uint64_t IndexScan::firstUncleared() const {
    std::uint64_t first = 0;
    for (const auto& record : records) {
        if (record.kind == FrameRecord::Kind::Cleared) {
            first = std::max(first, record.frame.sequence + 1);
        }
    }
    return first;
}

// What records say of the ring after the last checkpoint may be of frames that are not there.
std::uint64_t IndexScan::firstIn(const IndexContent& content) const {
    const bool isOfCheckpoint =
        content.state == IndexContent::State::Doubtful && oldestAtCheckpoint;
    const auto told = records.empty() || isOfCheckpoint ? 0 : records.back().oldest;
    return std::max({firstUncleared(), oldestAtCheckpoint.value_or(0), told});
}

// The record of a frame that has gone stays in its slot until that is used again. What does not
// grow on from the frame before it cannot be of the same ring, whatever its checksum says.
void IndexScan::takeFrames(IndexContent& content) const {
    const auto first = firstIn(content);
    for (const auto& record : records) {
        const bool grows =
            content.frames.empty() || (record.frame.timePoint > content.frames.back().timePoint &&
                                       record.frame.position >= content.frames.back().end());
        if (record.frame.sequence >= first && grows) {
            content.frames.push_back(record.frame);
        }
    }
}

}  // namespace tarn::peers::loop_storage
