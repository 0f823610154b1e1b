// How much there is for new tracks.
#include <algorithm>
#include <string>

#include "peers/loop_storage/StorageError.h"
#include "peers/loop_storage/operations/Catalogue.h"

namespace tarn::peers::loop_storage {

namespace {

[[noreturn]] void refuse(std::uint64_t wanted, std::uint64_t remaining) {
    throw StorageError(
        TARN_STORAGE_ERROR_NO_SPACE,
        std::to_string(wanted) + " bytes are wanted and " + std::to_string(remaining) + " remain");
}

}  // namespace

std::shared_ptr<Catalogue::Plan> Catalogue::plan(std::uint64_t size) {
    std::uint64_t number = 0;
    {
        const std::lock_guard guard(mutex);
        number = ++lastPlan;
        planned.emplace(number, Planned{.size = size, .folder = {}});
    }
    return std::shared_ptr<Plan>(new Plan(*this, number, size));
}

void Catalogue::end(const Plan& plan) {
    const std::lock_guard guard(mutex);
    planned.erase(plan.number);
}

// In this order, what changes meanwhile counts twice rather than not at all.
std::int64_t Catalogue::remainingSpace() const {
    std::vector<Planned> creations;
    {
        const std::lock_guard guard(mutex);
        for (const auto& [number, creation] : planned) {
            creations.push_back(creation);
        }
    }
    return static_cast<std::int64_t>(roomAfter(creations));
}

// What has been taken for a track that is being made is part of what that track will take. One that
// there is no room for takes none.
std::uint64_t Catalogue::roomAfter(const std::vector<Planned>& creations) const {
    std::uint64_t taken = 0;
    for (const auto& creation : creations) {
        taken += creation.folder.empty() ? 0 : takenBy(creation.folder);
    }
    auto disk = lookAtDisk(directory);
    disk.available += taken;
    auto allowed = capacityLeft();
    for (const auto& creation : creations) {
        if (creation.size <= std::min(allowed, largestTrackIn(disk))) {
            disk.available -= spaceForTrack(creation.size, disk.block);
            allowed -= creation.size;
        }
    }
    return std::min(allowed, largestTrackIn(disk));
}

std::uint64_t Catalogue::capacityLeft() const {
    if (!capacity) {
        return largestTrack;
    }
    std::uint64_t taken = 0;
    for (const auto& track : all()) {
        taken += track->size();
    }
    const std::lock_guard guard(mutex);
    for (const auto& [id, track] : unopened) {
        taken += track.size;
    }
    return *capacity > taken ? *capacity - taken : 0;
}

void Catalogue::checkRoom(std::uint64_t size) const {
    const auto room = roomAfter({});
    if (size > room) {
        refuse(size, room);
    }
}

void Catalogue::checkGrowth(std::uint64_t before, std::uint64_t after) const {
    const auto allowed = capacityLeft();
    if (after - before > allowed) {
        refuse(after - before, allowed);
    }
    const auto disk = lookAtDisk(directory);
    const auto needed = spaceForGrowth(before, after, disk.block);
    if (needed > disk.available) {
        refuse(needed, disk.available);
    }
}

}  // namespace tarn::peers::loop_storage
