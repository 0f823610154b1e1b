#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "peers/loop_storage/disk/DiskPool.h"
#include "peers/loop_storage/operations/Catalogue.h"
#include "peers/loop_storage/operations/Checkpoints.h"
#include "peers/loop_storage/operations/Tickets.h"
#include "peers/loop_storage/operations/WorkQueue.h"
#include "peers/loop_storage/operations/Workers.h"
#include "peers/loop_storage/ring/BootId.h"

namespace tarn::peers::loop_storage {

/// A worker's hold on its track. Given back from any thread, at once; what is left to do for the
/// files happens on a thread of the storage.
class Attachment {
  public:
    using Release = std::function<void(std::shared_ptr<const void> kept)>;

    Attachment(std::shared_ptr<Track> track, Track::WorkerKind kind, Checkpoints& checkpoints,
               Release onRelease)
        : held(std::move(track)),
          role(kind),
          checkpoints(checkpoints),
          onRelease(std::move(onRelease)) {}
    ~Attachment() { onRelease(std::move(kept)); }
    Attachment(const Attachment&) = delete;
    Attachment& operator=(const Attachment&) = delete;

    Track& track() const { return *held; }
    const std::shared_ptr<Track>& shared() const { return held; }
    Track::WorkerKind kind() const { return role; }
    /// A place was reserved in the track, or a frame committed.
    void noteWriting() const { checkpoints.noteWriting(); }
    /// Lives until the track is free for another one, which is after this object is gone.
    void keepUntilReleased(std::shared_ptr<const void> object) { kept = std::move(object); }

  private:
    const std::shared_ptr<Track> held;
    const Track::WorkerKind role;
    Checkpoints& checkpoints;
    const Release onRelease;
    std::shared_ptr<const void> kept;
};

/// Everything that a server keeps, and the threads that work on it: one for the long operations,
/// those that wait for the disk, and one that looks what is to be brought there.
class Storage {
  public:
    Storage(const std::filesystem::path& directory, std::optional<std::uint64_t> capacity,
            const BootId& boot);
    /// Finishes. Nobody may be attached any more.
    ~Storage();
    Storage(const Storage&) = delete;
    Storage& operator=(const Storage&) = delete;

    /// Stops the long operation that runs, cancels those that wait, and does what only has to wait
    /// for the disk: afterwards nothing calls back any more.
    void finish();

    Catalogue& catalogue() { return tracks; }
    Tickets& tickets() { return operations; }
    Workers& workers() { return attached; }

    // Take a long operation on and return its ticket. Throw StorageError when too many wait.
    std::int64_t create(std::uint64_t size);
    std::int64_t resize(std::int64_t track, std::uint64_t size);
    std::int64_t destroy(std::int64_t track);

    /// Runs something that waits for the disk, on a thread for that. Throws StorageError when too
    /// much waits in this queue.
    void runSoon(DiskQueue& queue, DiskQueue::Work work);
    /// For what concerns no track.
    DiskQueue& directoryQueue() { return ofDirectory; }

    /// Not from threads that must not wait for the disk. Throws StorageError, std::system_error.
    std::unique_ptr<Attachment> attach(std::int64_t track, Track::WorkerKind kind,
                                       WorkerClient client);

  private:
    using Operation = std::function<std::int64_t()>;
    std::int64_t queue(Operation operation);
    void run(std::int64_t ticket, const Operation& operation);
    void checkStop() const;
    void release(const std::shared_ptr<Track>& track, Track::WorkerKind kind, std::int64_t worker,
                 std::shared_ptr<const void> kept);

    Catalogue tracks;
    Tickets operations;
    Workers attached;
    std::atomic<bool> isStopping = false;
    DiskQueue ofDirectory;
    DiskPool pool;
    Checkpoints checkpoints;
    WorkQueue slow;
};

}  // namespace tarn::peers::loop_storage
