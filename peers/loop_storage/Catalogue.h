#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "peers/loop_storage/BootId.h"
#include "peers/loop_storage/Track.h"
#include "peers/process/FileDescriptor.h"

namespace tarn::peers::loop_storage {

/// The tracks of one directory, of which this process is the only user. Any thread; of the long
/// operations one at a time.
///
///   lock           held by the server
///   last-id        the highest id ever used, once its track is gone
///   track-ID/      a track
///   making-ID/     one that is not whole yet; removed at the next start
///   removed-ID/    one that is going; the same
class Catalogue {
  public:
    /// Opens every track of the directory, which is made if it is not there (its parent is not).
    /// Tracks that cannot be opened are logged and left alone. Throws std::runtime_error when
    /// another server uses the directory, std::system_error when it cannot be used.
    Catalogue(std::filesystem::path directory, std::optional<std::uint64_t> capacity,
              const BootId& boot);

    std::vector<std::int64_t> ids() const;
    /// Null when there is none.
    std::shared_ptr<Track> find(std::int64_t id) const;
    /// Throws StorageError, NOT_FOUND.
    std::shared_ptr<Track> get(std::int64_t id) const;
    std::vector<std::shared_ptr<Track>> all() const;
    std::int64_t remainingSpace() const;

    // The long operations. `check` may stop them by throwing. Throw StorageError,
    // std::system_error.
    std::int64_t create(std::uint64_t size, const std::function<void()>& check);
    std::uint64_t resize(std::int64_t id, std::uint64_t size, const std::function<void()>& check);
    void destroy(std::int64_t id);

  private:
    void openTracks();
    void openTrack(const std::filesystem::path& folder, std::int64_t id);
    void removeRemains();
    enum class IdKept { Elsewhere, ByFolderOnly };
    void removeGone(std::int64_t id, IdKept kept) const;
    void readLastId();
    std::filesystem::path folderOf(const char* kind, std::int64_t id) const;
    void checkSpace(std::uint64_t growth) const;

    const std::filesystem::path directory;
    const std::optional<std::uint64_t> capacity;
    const BootId boot;
    FileDescriptor lock;

    mutable std::mutex mutex;  // guards what follows
    std::map<std::int64_t, std::shared_ptr<Track>> tracks;
    std::int64_t lastId = -1;
    std::uint64_t unusable = 0;  ///< bytes of tracks that could not be opened
};

}  // namespace tarn::peers::loop_storage
