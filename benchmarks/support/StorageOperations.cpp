#include "benchmarks/support/StorageOperations.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "benchmarks/support/Samples.h"
#include "benchmarks/support/StorageServer.h"

namespace tarn::benchmarks {

namespace {

using Clock = std::chrono::steady_clock;

template <typename Work>
void sample(Samples& samples, Work work) {
    const auto begin = Clock::now();
    work();
    samples.add(Clock::now() - begin);
}

void makePlainFile(const std::string& path, std::uint64_t size) {
    const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    const int error = ::posix_fallocate(file, 0, static_cast<off_t>(size));
    if (file < 0 || error != 0 || ::fdatasync(file) != 0) {
        throw std::system_error(error, std::generic_category(), path);
    }
    ::close(file);
}

/// What a watcher asks about each track.
void askAbout(const StorageConnection& connection, std::int64_t track, const StorageErrors& error) {
    tarn_storage_property_list_destroy(
        tarn_storage_track_get_properties(connection.get(), track, error));
    tarn_storage_track_get_size(connection.get(), track, error);
    tarn_storage_track_get_beginning(connection.get(), track, error);
    tarn_storage_track_get_end(connection.get(), track, error);
    error.check();
}

void poll(const StorageServer& server, const StorageErrors& error) {
    const auto connection = server.connectUnix();
    auto* const tracks = tarn_storage_track_list_create(connection.get(), error);
    error.check();
    for (std::size_t i = 0; i < tarn_storage_track_list_get_count(tracks); ++i) {
        askAbout(connection, tarn_storage_track_list_get_id(tracks, i), error);
    }
    tarn_storage_track_list_destroy(tracks);
}

class ReadingThread {
  public:
    ReadingThread(const StorageServer& server, std::int64_t track,
                  std::atomic<std::uint64_t>& bytes)
        : thread([&server, &bytes, track](const std::stop_token& stop) {
              read(server, track, bytes, stop);
          }) {}

  private:
    static void read(const StorageServer& server, std::int64_t track,
                     std::atomic<std::uint64_t>& bytes, const std::stop_token& stop) {
        const StorageErrors error;
        const auto connection = server.connectUnix();
        auto* const reader = tarn_storage_reader_create(connection.get(), track, "benchmark",
                                                        TARN_STORAGE_START_LIVE, 0, error);
        while (!stop.stop_requested()) {
            tarn_storage_frame frame{};
            if (tarn_storage_reader_read(reader, 50, &frame, error) == 1) {
                bytes += frame.size;
            }
        }
        tarn_storage_reader_destroy(reader);
    }

    std::jthread thread;
};

/// Bytes per second of a writer that writes for a while.
double writeFor(const StorageServer& server, std::int64_t track, std::int64_t& timePoint,
                Clock::duration duration) {
    const std::vector<char> frame(1U << 20U, 'x');
    const StorageErrors error;
    const auto connection = server.connectUnix();
    tarn_storage_writer* writer = nullptr;
    while ((writer = tarn_storage_writer_create(connection.get(), track, "benchmark", error)) ==
           nullptr) {
        if (tarn_storage_error_get_type(error) != TARN_STORAGE_ERROR_IN_USE) {
            error.check();  // the one before is still being put on the disk otherwise
        }
    }
    const auto begin = Clock::now();
    std::uint64_t bytes = 0;
    for (; Clock::now() - begin < duration; bytes += frame.size()) {
        tarn_storage_writer_write(writer, ++timePoint, frame.data(), frame.size(), error);
        error.check();
    }
    tarn_storage_writer_flush(writer, error);
    error.check();
    tarn_storage_writer_destroy(writer);
    return static_cast<double>(bytes) / std::chrono::duration<double>(Clock::now() - begin).count();
}

}  // namespace

void measureTrackCreation(const StorageServer& server) {
    constexpr std::uint64_t size = 1ULL << 30U;
    constexpr int rounds = 20;
    const StorageErrors error;
    const auto connection = server.connectUnix();
    const auto plain = (server.folder() / "plain").string();
    Samples creations, destructions, plainCreations, plainDestructions;
    for (int i = 0; i < rounds; ++i) {
        std::int64_t track = -1;
        sample(creations, [&] {
            track = tarn_storage_track_create(connection.get(), size, 0, nullptr, error);
        });
        error.check();
        sample(destructions,
               [&] { tarn_storage_track_destroy(connection.get(), track, 0, nullptr, error); });
        error.check();
        sample(plainCreations, [&] { makePlainFile(plain, size); });
        sample(plainDestructions, [&] { ::unlink(plain.c_str()); });
    }
    report("create a track of 1 GB", creations, "fallocate and sync a file", plainCreations);
    report("destroy a track of 1 GB", destructions, "remove the file", plainDestructions);
}

void measurePoll(const StorageServer& server) {
    constexpr int tracks = 1000;
    constexpr int rounds = 50;
    const StorageErrors error;
    const auto connection = server.connectUnix();
    std::vector<std::int64_t> made;
    for (int i = 0; i < tracks; ++i) {
        made.push_back(tarn_storage_track_create(connection.get(), 100'000, 0, nullptr, error));
        error.check();
    }
    Samples polls, exchanges;
    for (int i = 0; i < rounds; ++i) {
        sample(polls, [&] { poll(server, error); });
        sample(exchanges, [&] { tarn_storage_get_remaining_space(connection.get(), error); });
    }
    report("poll of 1000 tracks", polls, "one exchange", exchanges);
    for (const auto track : made) {
        tarn_storage_track_destroy(connection.get(), track, 0, nullptr, error);
    }
}

void measureManyReaders(const StorageServer& server) {
    constexpr std::uint64_t size = 256U << 20U;
    constexpr int many = 16;
    constexpr auto duration = std::chrono::seconds(3);
    constexpr double mega = 1e6;
    const StorageErrors error;
    const auto connection = server.connectUnix();
    const auto track = tarn_storage_track_create(connection.get(), size, 0, nullptr, error);
    error.check();
    std::int64_t timePoint = 0;
    const double alone = writeFor(server, track, timePoint, duration);
    std::atomic<std::uint64_t> bytes = 0;
    double together = 0;
    const auto begin = Clock::now();
    {
        std::vector<std::unique_ptr<ReadingThread>> readers;
        for (int i = 0; i < many; ++i) {
            readers.push_back(std::make_unique<ReadingThread>(server, track, bytes));
        }
        together = writeFor(server, track, timePoint, duration);
    }
    const double took = std::chrono::duration<double>(Clock::now() - begin).count();
    const nlohmann::ordered_json line = {
        {"benchmark", "one writer and 16 readers, 1024 kB frames"},
        {"written_megabytes_per_second", together / mega},
        {"read_megabytes_per_second", static_cast<double>(bytes.load()) / mega / took},
        {"baseline", "the writer alone"},
        {"baseline_megabytes_per_second", alone / mega},
        {"ratio", together / alone}};
    std::puts(line.dump().c_str());
    std::fflush(stdout);
}

}  // namespace tarn::benchmarks
