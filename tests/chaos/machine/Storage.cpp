#include "tests/chaos/machine/Storage.h"

#include <signal.h>

#include <stdexcept>

#include "tests/chaos/machine/StorageDisk.h"
#include "tests/support/Eventually.h"
#include "tests/system/harness/Installation.h"

namespace tarn::chaos {

using service::devices::connectStorage;
using service::devices::StorageError;
using service::devices::StoragePointer;

namespace {

constexpr std::chrono::seconds longestStart{20};
constexpr std::chrono::seconds storageEndsWithin{20};

using Tracks = std::map<std::int64_t, Track>;

Tracks askTracks(tarn_storage_connection* storage, tarn_storage_error* error) {
    Tracks tracks;
    const StoragePointer<tarn_storage_track_list> list(
        tarn_storage_track_list_create(storage, error));
    const auto count = list ? tarn_storage_track_list_get_count(list.get()) : 0;
    for (std::size_t n = 0; n < count; ++n) {
        const auto id = tarn_storage_track_list_get_id(list.get(), n);
        tracks[id] = {.size = tarn_storage_track_get_size(storage, id, error),
                      .beginning = tarn_storage_track_get_beginning(storage, id, error),
                      .end = tarn_storage_track_get_end(storage, id, error)};
    }
    return tracks;
}

void addWorker(Tracks& tracks, const tarn_storage_worker_info& worker) {
    const auto track = tracks.find(worker.track_id);
    if (track == tracks.end()) {
        return;
    }
    if (worker.kind == TARN_STORAGE_WORKER_READER) {
        ++track->second.readers;
        track->second.readerNames.insert(worker.name);
    } else if (worker.kind == TARN_STORAGE_WORKER_WRITER) {
        ++track->second.writers;
        track->second.writerNames.insert(worker.name);
    }
}

void askWorkers(Tracks& tracks, tarn_storage_connection* storage, tarn_storage_error* error) {
    const StoragePointer<tarn_storage_worker_list> ids(
        tarn_storage_worker_list_create(storage, error));
    const StoragePointer<tarn_storage_worker_info_list> list(
        ids ? tarn_storage_worker_info_list_create(storage, ids.get(), error) : nullptr);
    const auto count = list ? tarn_storage_worker_info_list_get_count(list.get()) : 0;
    for (std::size_t n = 0; n < count; ++n) {
        addWorker(tracks, *tarn_storage_worker_info_list_get(list.get(), n));
    }
}

}  // namespace

void Storage::start() {
    std::vector<std::string> command{test::loopStorageProgram, "--directory", StorageDisk::folder,
                                     "--tcp", "0.0.0.0:" + std::to_string(Places::tcpPort)};
    if (places.storage.port == 0) {
        command.insert(command.end(), {"--unix", places.storageListener()});
    }
    run = std::make_unique<test::Process>(command);
    const auto serves = [this] {
        StorageError error;
        return connectStorage(places.storage, error) != nullptr;
    };
    if (!test::eventually(serves, longestStart)) {
        throw std::runtime_error("the loop storage does not serve: " + run->output().text());
    }
}

void Storage::killHard() {
    run->signal(SIGKILL);
    run->waitForEnd(storageEndsWithin);
    run.reset();
}

std::optional<test::Ending> Storage::stop() {
    if (!run) {
        return std::nullopt;
    }
    run->signal(SIGTERM);
    return run->waitForEnd(storageEndsWithin);
}

bool Storage::isRunning() {
    return run &&
           run->waitForEnd(std::chrono::milliseconds(0)).how == test::Ending::How::StillRunning;
}

std::int64_t Storage::createTrack(std::uint64_t size) const {
    StorageError error;
    const auto connection = connectStorage(places.storage, error);
    const auto id = connection
                        ? tarn_storage_track_create(connection.get(), size, 0, nullptr, error.get())
                        : -1;
    if (id < 0) {
        throw std::runtime_error("no track: " + error.message());
    }
    return id;
}

std::optional<Tracks> Storage::tracks() const {
    StorageError error;
    const auto connection = connectStorage(places.storage, error);
    if (!connection) {
        return std::nullopt;
    }
    auto found = askTracks(connection.get(), error.get());
    if (!error.isSet()) {
        askWorkers(found, connection.get(), error.get());
    }
    return error.isSet() ? std::nullopt : std::optional(std::move(found));
}

}  // namespace tarn::chaos
