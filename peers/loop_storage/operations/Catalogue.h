#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "peers/loop_storage/ring/BootId.h"
#include "peers/loop_storage/ring/Track.h"
#include "peers/loop_storage/ring/TrackSpace.h"
#include "platform/os/FileDescriptor.h"

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
    using LookAtDisk = std::function<DiskSpace(const std::filesystem::path&)>;

    /// Opens every track of the directory, which is made if it is not there (its parent is not).
    /// One that cannot be opened is logged and kept as Unopened. Throws std::runtime_error when
    /// another server uses the directory, std::system_error when it cannot be used.
    Catalogue(std::filesystem::path directory, std::optional<std::uint64_t> capacity,
              const BootId& boot, LookAtDisk lookAtDisk = diskSpaceOf);

    /// Ascending, with those that could not be opened.
    std::vector<std::int64_t> ids() const;
    /// Null when there is none that could be opened.
    std::shared_ptr<Track> find(std::int64_t id) const;
    /// Throws StorageError: NOT_FOUND, or SERVER for one that could not be opened.
    std::shared_ptr<Track> get(std::int64_t id) const;
    /// All that could be opened.
    std::vector<std::shared_ptr<Track>> all() const;

    /// A track that is there and could not be opened. It can be destroyed, and nothing else.
    struct Unopened {
        std::string reason;
        std::uint64_t size = 0;  ///< of its data files
    };
    std::optional<Unopened> findUnopened(std::int64_t id) const;

    /// The size of the largest track that can be created, after those that are planned.
    std::int64_t remainingSpace() const;

    /// A track that is to be created. Its space counts as taken until that has ended, or this is
    /// destroyed. The catalogue must outlive it.
    class Plan {
      public:
        ~Plan() { catalogue.end(*this); }
        Plan(const Plan&) = delete;
        Plan& operator=(const Plan&) = delete;

      private:
        friend class Catalogue;
        Plan(Catalogue& catalogue, std::uint64_t number, std::uint64_t size)
            : catalogue(catalogue), number(number), size(size) {}

        Catalogue& catalogue;
        const std::uint64_t number;
        const std::uint64_t size;
    };
    /// Plans are carried out in the order in which they were made.
    std::shared_ptr<Plan> plan(std::uint64_t size);

    // The long operations. `check` may stop them by throwing. Throw StorageError,
    // std::system_error.
    std::int64_t create(const Plan& plan, const std::function<void()>& check);
    std::int64_t create(std::uint64_t size, const std::function<void()>& check);
    std::uint64_t resize(std::int64_t id, std::uint64_t size, const std::function<void()>& check);
    void destroy(std::int64_t id);

  private:
    void openTracks();
    void openTrack(const std::filesystem::path& folder, std::int64_t id);
    void removeRemains();
    void removeUnfinished(const std::filesystem::path& folder, std::int64_t id);
    enum class IdKept { Elsewhere, ByFolderOnly };
    void removeGone(std::int64_t id, IdKept kept) const;
    void removeTrack(std::int64_t id);
    void readLastId();
    std::filesystem::path folderOf(const char* kind, std::int64_t id) const;

    /// A creation that has not ended.
    struct Planned {
        std::uint64_t size = 0;
        std::filesystem::path folder;  ///< where it is being made; empty before
    };
    void end(const Plan& plan);
    std::int64_t make(const Plan& plan, const std::function<void()>& check);
    void publish(const std::filesystem::path& making, std::int64_t id);
    std::uint64_t roomAfter(const std::vector<Planned>& creations) const;
    std::uint64_t capacityLeft() const;
    void checkRoom(std::uint64_t size) const;
    void checkGrowth(std::uint64_t before, std::uint64_t after) const;

    const std::filesystem::path directory;
    const std::optional<std::uint64_t> capacity;
    const BootId boot;
    const LookAtDisk lookAtDisk;
    os::FileDescriptor lock;

    mutable std::mutex mutex;  // guards what follows
    std::map<std::int64_t, std::shared_ptr<Track>> tracks;
    std::map<std::int64_t, Unopened> unopened;
    std::int64_t lastId = -1;
    std::map<std::uint64_t, Planned> planned;  ///< by the plans' numbers
    std::uint64_t lastPlan = 0;
};

}  // namespace tarn::peers::loop_storage
