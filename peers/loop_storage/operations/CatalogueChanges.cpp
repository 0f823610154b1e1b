// The long operations on the tracks of a directory.
#include <string>
#include <utility>

#include "peers/loop_storage/StorageError.h"
#include "peers/loop_storage/disk/DiskFile.h"
#include "peers/loop_storage/operations/Catalogue.h"
#include "peers/loop_storage/ring/index/IndexFile.h"
#include "platform/utils/Log.h"

namespace tarn::peers::loop_storage {

namespace {

void checkSize(std::uint64_t size) {
    if (size == 0 || size > largestTrack) {
        throw StorageError(TARN_STORAGE_ERROR_ARGUMENT, "A track has 1 to " +
                                                            std::to_string(largestTrack) +
                                                            " bytes, not " + std::to_string(size));
    }
}

/// Nobody else uses the track while this lives.
class ExclusiveUse {
  public:
    ExclusiveUse(Track& track, const char* purpose) : track(track) {
        track.beginExclusive(purpose);
    }
    ~ExclusiveUse() { track.endExclusive(); }
    ExclusiveUse(const ExclusiveUse&) = delete;
    ExclusiveUse& operator=(const ExclusiveUse&) = delete;

  private:
    Track& track;
};

/// Removed at the end, unless it has got another name by then.
class UnfinishedFolder {
  public:
    explicit UnfinishedFolder(std::filesystem::path path) : path(std::move(path)) {
        std::filesystem::create_directory(this->path);
    }
    ~UnfinishedFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    UnfinishedFolder(const UnfinishedFolder&) = delete;
    UnfinishedFolder& operator=(const UnfinishedFolder&) = delete;

  private:
    const std::filesystem::path path;
};

}  // namespace

std::int64_t Catalogue::create(std::uint64_t size, const std::function<void()>& check) {
    return create(*plan(size), check);
}

// When this returns, or throws, the space is no longer planned: who is told of the end can ask.
std::int64_t Catalogue::create(const Plan& plan, const std::function<void()>& check) {
    try {
        return make(plan, check);
    } catch (...) {
        end(plan);
        throw;
    }
}

std::int64_t Catalogue::make(const Plan& plan, const std::function<void()>& check) {
    checkSize(plan.size);
    checkRoom(plan.size);
    std::int64_t id = 0;
    std::filesystem::path making;
    {
        const std::lock_guard guard(mutex);
        id = lastId + 1;
        making = folderOf("making-", id);
        planned.at(plan.number).folder = making;
    }
    const UnfinishedFolder unfinished(making);
    const auto created = Track::Create(making, id, plan.size, check);
    publish(making, id);
    auto track = std::make_shared<Track>(folderOf("track-", id), id, boot, created);
    const std::lock_guard guard(mutex);
    tracks.emplace(id, std::move(track));
    planned.erase(plan.number);
    return id;
}

// From the renaming on the id is used up, even where nothing comes of the track.
void Catalogue::publish(const std::filesystem::path& making, std::int64_t id) {
    const auto folder = folderOf("track-", id);
    std::filesystem::rename(making, folder);
    {
        const std::lock_guard guard(mutex);
        lastId = id;
    }
    try {
        syncFolder(directory);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::rename(folder, folderOf("removed-", id), ignored);
        removeGone(id, IdKept::ByFolderOnly);
        throw;
    }
}

std::uint64_t Catalogue::resize(std::int64_t id, std::uint64_t size,
                                const std::function<void()>& check) {
    checkSize(size);
    const auto track = get(id);
    const ExclusiveUse use(*track, "resized");
    const auto before = track->size();
    if (size > before) {
        checkGrowth(before, size);
    }
    return track->resize(size, check);
}

void Catalogue::destroy(std::int64_t id) {
    if (findUnopened(id)) {
        removeTrack(id);
        return;
    }
    const auto track = get(id);
    track->beginExclusive("destroyed");
    try {
        removeTrack(id);
    } catch (...) {
        track->endExclusive();
        throw;
    }
}

// The id's last trace goes with the folder: if it was the highest, a file keeps it from then on.
void Catalogue::removeTrack(std::int64_t id) {
    const auto folder = folderOf("track-", id);
    const auto removed = folderOf("removed-", id);
    std::filesystem::rename(folder, removed);
    try {
        syncFolder(directory);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::rename(removed, folder, ignored);
        throw;
    }
    auto kept = IdKept::Elsewhere;
    {
        const std::lock_guard guard(mutex);
        tracks.erase(id);
        unopened.erase(id);
        kept = id == lastId ? IdKept::ByFolderOnly : IdKept::Elsewhere;
    }
    removeGone(id, kept);
}

}  // namespace tarn::peers::loop_storage
