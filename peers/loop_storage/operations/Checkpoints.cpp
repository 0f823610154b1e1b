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

void Checkpoints::run() {
    std::unique_lock lock(mutex);
    for (int looks = 1; !changed.wait_for(lock, lookEvery, [this] { return mustEnd; }); ++looks) {
        lock.unlock();
        look(looks % looksBetween == 0);
        lock.lock();
    }
}

void Checkpoints::look(bool isTime) {
    for (const auto& track : catalogue.all()) {
        if (track->needsCheckpoint(Track::Need::Urgent)) {
            have(track, Track::Need::Urgent);
        } else if (isTime && track->needsCheckpoint(Track::Need::Committed)) {
            have(track, Track::Need::Committed);
        }
    }
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
