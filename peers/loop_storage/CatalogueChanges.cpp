// The long operations on the tracks of a directory.
#include <string>
#include <utility>

#include "peers/loop_storage/Catalogue.h"
#include "peers/loop_storage/DiskFile.h"
#include "peers/loop_storage/StorageError.h"
#include "platform/utils/Log.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr auto largestSize = static_cast<std::uint64_t>(1) << 50U;

void checkSize(std::uint64_t size) {
    if (size == 0 || size > largestSize) {
        throw StorageError(TARN_STORAGE_ERROR_ARGUMENT, "A track has 1 to " +
                                                            std::to_string(largestSize) +
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
    checkSize(size);
    checkSpace(size);
    std::int64_t id = 0;
    {
        const std::lock_guard guard(mutex);
        id = lastId + 1;
    }
    const auto making = folderOf("making-", id);
    const auto folder = folderOf("track-", id);
    const UnfinishedFolder unfinished(making);
    Track::Create(making, id, size, check);
    std::filesystem::rename(making, folder);
    syncFolder(directory);
    auto track = std::make_shared<Track>(folder, id, boot);
    const std::lock_guard guard(mutex);
    tracks.emplace(id, std::move(track));
    lastId = id;
    return id;
}

std::uint64_t Catalogue::resize(std::int64_t id, std::uint64_t size,
                                const std::function<void()>& check) {
    checkSize(size);
    const auto track = get(id);
    const ExclusiveUse use(*track, "resized");
    const auto before = track->size();
    if (size > before) {
        checkSpace(size - before);
    }
    return track->resize(size, check);
}

// The id's last trace goes with the folder: if it was the highest, a file keeps it from then on.
void Catalogue::destroy(std::int64_t id) {
    const auto track = get(id);
    track->beginExclusive("destroyed");
    try {
        std::filesystem::rename(track->folder(), folderOf("removed-", id));
        syncFolder(directory);
    } catch (...) {
        track->endExclusive();
        throw;
    }
    auto kept = IdKept::Elsewhere;
    {
        const std::lock_guard guard(mutex);
        tracks.erase(id);
        kept = id == lastId ? IdKept::ByFolderOnly : IdKept::Elsewhere;
    }
    removeGone(id, kept);
}

}  // namespace tarn::peers::loop_storage
