// What a track makes of the files that it finds.
#include <utility>

#include "peers/loop_storage/StorageError.h"
#include "peers/loop_storage/ring/Track.h"
#include "peers/loop_storage/ring/TrackFiles.h"
#include "peers/loop_storage/ring/index/Recovery.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr std::size_t longestFailure = 4096;

}  // namespace

void Track::load() {
    const IndexFile index(indexPath());
    auto content = index.load(boot);
    if (content.track.id != static_cast<std::uint64_t>(trackId)) {
        throw StorageError(TARN_STORAGE_ERROR_SERVER, indexPath().string() + " is of track " +
                                                          std::to_string(content.track.id));
    }
    dataSize = content.track.dataSize;
    slots = content.track.slots;
    generation = content.track.generation;
    checkpointCount = content.checkpoints;
    keepFolder();
    removeStrangeData();
    const DiskFile data(dataPath(generation), DiskFile::Mode::Existing);
    const auto gone = settle(content, data);
    ring.emplace(dataSize, slots);
    ring->restore(content.frames, content.nextSequence, content.limit, content.lost);
    allowedLimit = ring->limit();
    openingNotes = content.notes;
    firstOwn = ring->nextSequence();
    readFailure();
    const bool isAsClosed = content.state == IndexContent::State::Closed && gone.empty() &&
                            content.track.version == indexVersion;
    if (failure.empty() && !isAsClosed) {
        closeAsFound(content, data, index, gone);
    }
    checkpointedSequence = failure.empty() ? ring->nextSequence() : 0;
}

// A server that was killed may have put a new index in the old one's place and not have brought
// that to the disk: what is written to it from now on would go with it.
void Track::keepFolder() {
    try {
        onDisk([this] { syncFolder(trackFolder); });
    } catch (const std::system_error&) {
        return;  // it has failed by that, and can be read
    }
}

// Until a writer comes nothing else would bring to the disk what a server that was killed had
// written, and the checkpoint that it left would hold after the next stop of the machine: frames
// that were acknowledged would go then, and what was cleared since would come back. What must go
// from the index is gone from the disk before a checkpoint says that the rest is true; and what is
// missing then is not taken for what did not get there, so both places for checkpoints say so.
void Track::closeAsFound(const IndexContent& content, const DiskFile& data, const IndexFile& index,
                         const std::vector<std::uint64_t>& gone) {
    try {
        onDisk([&] {
            data.sync();
            for (const auto sequence : gone) {
                index.blank(sequence, slots);
            }
            if (content.track.version != indexVersion) {
                auto track = content.track;
                track.version = indexVersion;
                index.put(track);
            }
            for (std::uint64_t count = 0; count < 2; ++count) {
                index.put(LimitRecord{.count = count, .limit = ring->limit()});
            }
            index.sync();
            for (int place = 0; place < 2; ++place) {
                index.put(CheckpointRecord{.count = ++checkpointCount,
                                           .nextSequence = ring->nextSequence(),
                                           .limit = ring->limit(),
                                           .oldest = oldestSequence(),
                                           .boot = {},
                                           .lost = ring->lost()});
                index.sync();
            }
        });
    } catch (const std::system_error&) {
        return;  // it has failed by that, and can be read
    }
}

void Track::readFailure() {
    if (!std::filesystem::exists(failurePath())) {
        return;
    }
    try {
        failure = readSmallFile(failurePath(), longestFailure);
    } catch (const std::system_error& unreadable) {
        failure = unreadable.what();
    }
    openingNotes.push_back("It has failed before and must be cleared: " + failure);
}

// Left by a resize, or a clearing, that did not come to its end.
void Track::removeStrangeData() const {
    std::vector<std::filesystem::path> strange;
    for (const auto& entry : std::filesystem::directory_iterator(trackFolder)) {
        const auto name = entry.path().filename().string();
        if ((name.starts_with(dataPrefix) && entry.path() != dataPath(generation)) ||
            name.ends_with(".new")) {
            strange.push_back(entry.path());
        }
    }
    for (const auto& path : strange) {
        std::filesystem::remove(path);
    }
}

}  // namespace tarn::peers::loop_storage
