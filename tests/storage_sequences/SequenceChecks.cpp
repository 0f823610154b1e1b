// Whether a storage holds what it has promised in a sequence.
#include <algorithm>
#include <utility>

#include "tests/storage_sequences/Sequence.h"

namespace tarn::storage_sequences {

void Sequence::look() {
    flushAll();
    if (problems.empty()) {
        compareAll(TrackModel::When::Running);
    }
}

void Sequence::compareAll(TrackModel::When when) {
    std::vector<std::int64_t> listed;
    if (!isExpected(client().list(listed), "listing the tracks")) {
        return;
    }
    adoptUnknown(listed);
    checkList(listed);
    for (auto& [id, track] : tracks) {
        if (problems.empty()) {
            compareTrack(id, track, when, !oneIn(4));
        }
    }
}

// What was asked for and not answered may be there.
void Sequence::adoptUnknown(const std::vector<std::int64_t>& listed) {
    for (const auto id : listed) {
        if (tracks.contains(id)) {
            continue;
        }
        if (!openCreation || id <= lastId) {
            complain(trackName(id) + " was destroyed or never made");
            continue;
        }
        tracks.emplace(id, TrackModel(id, *openCreation));
        openCreation.reset();
        lastId = id;
    }
    openCreation.reset();
}

void Sequence::checkList(const std::vector<std::int64_t>& listed) {
    std::erase_if(tracks, [&](const auto& entry) {
        const bool isListed = std::find(listed.begin(), listed.end(), entry.first) != listed.end();
        if (!isListed && entry.first != openDestruction) {
            complain(trackName(entry.first) + " is gone");
        }
        return !isListed;
    });
    openDestruction.reset();
}

void Sequence::compareTrack(std::int64_t id, TrackModel& track, TrackModel::When when, bool reads) {
    TrackModel::Found found;
    if (!isExpected(client().describe(id, found), "describing " + trackName(id))) {
        return;
    }
    Client::Reading reading;
    if (reads) {
        if (!isExpected(client().read(id, reading), "reading " + trackName(id))) {
            return;
        }
        if (reading.unreadable > 0 && !track.mayHaveHoles()) {
            complain(std::to_string(reading.unreadable) + " frames of " + trackName(id) +
                     " cannot be read: " + reading.reason);
        }
        found.frames = std::move(reading.frames);
    }
    for (const auto& problem : track.compare(found, when)) {
        complain(problem);
    }
}

}  // namespace tarn::storage_sequences
