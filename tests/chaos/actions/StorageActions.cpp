// What happens to the loop storage and its tracks.
#include <algorithm>

#include "tests/chaos/Chaos.h"
#include "tests/chaos/machine/TrackRequests.h"

namespace tarn::chaos {

namespace {

constexpr std::size_t mostSpareTracks = 6;
constexpr std::uint64_t sizeStep = 64U << 10U;
constexpr std::size_t largestSize = 8;  // steps

}  // namespace

// It may stay away for a while.
void Chaos::killStorage() {
    machine.storage().killHard();
    model.storageKilled();
    ++counts["loop storages killed"];
    if (below(2) == 0) {
        machine.storage().start();
    }
}

void Chaos::startStorage() {
    machine.storage().start();
}

std::vector<std::int64_t> Chaos::spareTracks() const {
    auto spare = book.tracks();
    std::erase_if(spare, [this](std::int64_t track) { return machine.holds(track); });
    return spare;
}

TrackChange Chaos::newTrackChange() {
    const auto spare = spareTracks();
    TrackChange change{.size = sizeStep * (1 + below(largestSize))};
    if (spare.empty() || (spare.size() < mostSpareTracks && below(2) == 0)) {
        return change;
    }
    change.kind = below(2) == 0 ? TrackChange::Kind::Resize : TrackChange::Kind::Destroy;
    change.track = spare[below(spare.size())];
    return change;
}

void Chaos::note(const TrackChange& change, TrackBook::Outcome outcome) {
    switch (change.kind) {
        case TrackChange::Kind::Create:
            return outcome == TrackBook::Outcome::Done ? book.created(change.track, change.size)
                                                       : book.creationIsOpen();
        case TrackChange::Kind::Resize:
            return book.resized(change.track, change.size, outcome);
        case TrackChange::Kind::Destroy:
            return book.destroyed(change.track, outcome);
    }
}

// While the storage is up it must be done, otherwise it must fail.
void Chaos::changeTracks() {
    auto change = newTrackChange();
    const auto failure = TrackRequests(machine.places().requests).carryOut(change);
    if (!failure) {
        note(change, TrackBook::Outcome::Done);
    }
    if (failure.has_value() == machine.storage().isUp()) {
        complain("a change of the tracks " +
                 (failure ? "failed: " + *failure : std::string("was done by nobody")));
    }
}

void Chaos::changeTracksAndKillStorage() {
    const auto change = newTrackChange();
    TrackRequests(machine.places().requests).begin(change);
    below(2) == 0 ? pause() : void();
    killStorage();
    note(change, TrackBook::Outcome::Open);
}

void Chaos::changeTracksAndKillService() {
    const auto change = newTrackChange();
    TrackRequests(machine.places().requests).begin(change);
    below(2) == 0 ? pause() : void();
    killService();
    note(change, TrackBook::Outcome::Open);
}

// Whoever reads or writes it goes on.
void Chaos::clearTrack() {
    const auto& tracks = machine.tracks();
    const auto failure =
        TrackRequests(machine.places().requests).clear(tracks[below(tracks.size())]);
    if (failure.has_value() == machine.storage().isUp()) {
        complain("a track was cleared or not: " + failure.value_or("by nobody"));
    }
}

}  // namespace tarn::chaos
