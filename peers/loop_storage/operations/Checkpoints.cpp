#include "peers/loop_storage/operations/Checkpoints.h"

#include <chrono>
#include <string>

#include "peers/loop_storage/disk/DiskPool.h"
#include "peers/loop_storage/operations/Catalogue.h"
#include "platform/utils/Log.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr auto lookEvery = std::chrono::milliseconds(100);
constexpr int looksBetween = 20;

void checkpoint(Track& track, Track::Need need) {
    try {
        track.checkpointIfNeeded(need);
    } catch (const std::exception& failure) {
        utils::logError("Track " + std::to_string(track.id()) + ": " + failure.what());
    }
}

}  // namespace

Checkpoints::Checkpoints(Catalogue& catalogue, DiskPool& pool)
    : catalogue(catalogue), pool(pool), thread([this] { run(); }) {}

Checkpoints::~Checkpoints() {
    {
        const std::lock_guard lock(mutex);
        mustEnd = true;
    }
    changed.notify_all();
    thread.join();
}

void Checkpoints::noteWriting() {
    if (isLooking || isLooking.exchange(true)) {
        return;
    }
    { const std::lock_guard lock(mutex); }  // who is about to wait has not seen it
    changed.notify_all();
}

void Checkpoints::run() {
    while (waitForWriting()) {
        lookUntilNothingIsLeft();
    }
}

bool Checkpoints::waitForWriting() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return mustEnd || isLooking; });
    return !mustEnd;
}

bool Checkpoints::waitForNextLook() {
    std::unique_lock lock(mutex);
    return !changed.wait_for(lock, lookEvery, [this] { return mustEnd; });
}

// It counts as asleep before it looks: what is written meanwhile wakes it again.
void Checkpoints::lookUntilNothingIsLeft() {
    for (int looks = 1; waitForNextLook(); ++looks) {
        isLooking = false;
        if (!look(looks % looksBetween == 0) && !isLooking) {
            return;
        }
        isLooking = true;
    }
}

bool Checkpoints::look(bool isTime) {
    bool isAnythingLeft = false;
    for (const auto& track : catalogue.all()) {
        const bool isUrgent = track->needsCheckpoint(Track::Need::Urgent);
        const bool isCommitted = track->needsCheckpoint(Track::Need::Committed);
        isAnythingLeft = isAnythingLeft || isUrgent || isCommitted;
        if (isUrgent) {
            have(track, Track::Need::Urgent);
        } else if (isTime && isCommitted) {
            have(track, Track::Need::Committed);
        }
    }
    return isAnythingLeft;
}

// One at a time for each track: a disk that hangs must not gather them.
void Checkpoints::have(const std::shared_ptr<Track>& track, Track::Need need) {
    if (!underWay->lock()->insert(track->id()).second) {
        return;
    }
    const auto work = [track, need, underWay = underWay] {
        checkpoint(*track, need);
        underWay->lock()->erase(track->id());
    };
    if (!pool.add(track->syncs(), work)) {
        underWay->lock()->erase(track->id());
    }
}

}  // namespace tarn::peers::loop_storage
