#include "peers/loop_storage/operations/Storage.h"

#include <utility>

#include "peers/loop_storage/StorageError.h"
#include "platform/utils/Log.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr std::size_t rememberedTickets = 10'000;
constexpr std::size_t mostOperations = 10'000;

/// The server ends: what has not been done is not done.
struct Stopped : std::exception {
    const char* what() const noexcept override { return "the server stops"; }
};

void closeTrack(Track& track) {
    try {
        track.close();
    } catch (const std::exception& failure) {
        utils::logError("Track " + std::to_string(track.id()) + ": " + failure.what());
    }
}

}  // namespace

Storage::Storage(const std::filesystem::path& directory, std::optional<std::uint64_t> capacity,
                 const BootId& boot)
    : tracks(directory, capacity, boot),
      operations(rememberedTickets),
      pool(DiskPool::Limits{}),
      checkpoints(tracks, pool),
      slow(mostOperations) {}

Storage::~Storage() {
    finish();
}

void Storage::finish() {
    isStopping = true;
    slow.finish();
    pool.finish();
}

std::int64_t Storage::create(std::uint64_t size) {
    const auto plan = tracks.plan(size);
    return queue([this, plan] { return tracks.create(*plan, [this] { checkStop(); }); });
}

std::int64_t Storage::resize(std::int64_t track, std::uint64_t size) {
    return queue([this, track, size] {
        return static_cast<std::int64_t>(tracks.resize(track, size, [this] { checkStop(); }));
    });
}

std::int64_t Storage::destroy(std::int64_t track) {
    return queue([this, track] {
        tracks.destroy(track);
        return track;
    });
}

std::int64_t Storage::queue(Operation operation) {
    const auto ticket = operations.add();
    if (!slow.add([this, ticket, operation = std::move(operation)] { run(ticket, operation); })) {
        operations.cancel(ticket);
        throw StorageError(TARN_STORAGE_ERROR_SERVER, "Too many operations wait already");
    }
    return ticket;
}

void Storage::run(std::int64_t ticket, const Operation& operation) {
    try {
        checkStop();
        operations.setRunning(ticket);
        operations.finish(ticket, operation());
    } catch (const Stopped&) {
        operations.cancel(ticket);
    } catch (const std::exception& failure) {
        utils::logWarning("Ticket " + std::to_string(ticket) + ": " + failure.what());
        operations.fail(ticket, failure);
    }
}

void Storage::checkStop() const {
    if (isStopping) {
        throw Stopped();
    }
}

void Storage::runSoon(DiskQueue& queue, DiskQueue::Work work) {
    if (!pool.add(queue, std::move(work))) {
        throw StorageError(TARN_STORAGE_ERROR_SERVER, "Too many requests wait for the disk");
    }
}

std::unique_ptr<Attachment> Storage::attach(std::int64_t id, Track::WorkerKind kind,
                                            WorkerClient client) {
    auto track = tracks.get(id);
    track->attach(kind);
    try {
        if (kind == Track::WorkerKind::Writer) {
            track->checkpoint();
        }
    } catch (...) {
        track->detach(kind);
        throw;
    }
    client.name = workerName(client.name);
    const auto worker = attached.add({.kind = kind, .track = id, .client = std::move(client)});
    return std::make_unique<Attachment>(
        track, kind, checkpoints, [this, track, kind, worker](std::shared_ptr<const void> kept) {
            release(track, kind, worker, std::move(kept));
        });
}

// A writer's track is brought to the disk before the next writer may come. Files are closed where
// the disk may be waited for.
void Storage::release(const std::shared_ptr<Track>& track, Track::WorkerKind kind,
                      std::int64_t worker, std::shared_ptr<const void> kept) {
    attached.remove(worker);
    if (kind == Track::WorkerKind::Reader) {
        if (auto files = track->detach(kind)) {
            pool.add(track->reads(), [files = std::move(files)] {});
        }
        return;
    }
    const auto end = [track, kind, kept = std::move(kept)] {
        closeTrack(*track);
        track->detach(kind);
    };
    if (!pool.add(track->syncs(), end)) {
        end();
    }
}

}  // namespace tarn::peers::loop_storage
