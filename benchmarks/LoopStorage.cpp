#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>
#include <vector>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/support/StorageOperations.h"
#include "benchmarks/support/StorageServer.h"

namespace tarn::benchmarks {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::uint64_t ringSize = 256U << 20U;
constexpr std::uint64_t writtenBytes = 1U << 30U;
constexpr int rounds = 5;

double seconds(const std::function<void()>& work) {
    const auto begin = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// A file of the ring's size with its space on the disk, as a track's.
class PlainFile {
  public:
    explicit PlainFile(const std::string& path)
        : path(path), number(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
        if (number < 0 || ::posix_fallocate(number, 0, ringSize) != 0) {
            throw std::system_error(errno, std::generic_category(), path);
        }
    }
    ~PlainFile() {
        ::close(number);
        ::unlink(path.c_str());
    }
    PlainFile(const PlainFile&) = delete;
    PlainFile& operator=(const PlainFile&) = delete;

    void writeRound(const std::vector<char>& frame) const {
        each(
            frame.size(),
            [&](off_t offset) { return ::pwrite(number, frame.data(), frame.size(), offset); },
            writtenBytes);
    }
    /// The same, on the disk before a quarter of the ring is gone over, as a track is.
    void writeSafeRound(const std::vector<char>& frame) const {
        const auto write = [&](off_t offset) {
            const auto written = ::pwrite(number, frame.data(), frame.size(), offset);
            const auto end = static_cast<std::uint64_t>(offset) + frame.size();
            return end % (ringSize / 4) == 0 && ::fdatasync(number) != 0 ? -1 : written;
        };
        each(frame.size(), write, writtenBytes);
    }
    void readRound(std::vector<char>& frame) const {
        each(
            frame.size(),
            [&](off_t offset) { return ::pread(number, frame.data(), frame.size(), offset); },
            ringSize);
    }

  private:
    template <typename Transfer>
    void each(std::size_t size, Transfer transfer, std::uint64_t bytes) const {
        for (std::uint64_t done = 0; done < bytes; done += size) {
            if (transfer(static_cast<off_t>(done % ringSize)) != static_cast<ssize_t>(size)) {
                throw std::system_error(errno, std::generic_category(), path);
            }
        }
    }

    const std::string path;
    const int number;
};

/// One track, written and read as a whole.
class TestTrack {
  public:
    explicit TestTrack(const StorageServer& server)
        : server(server), control(server.connectUnix()) {
        id = tarn_storage_track_create(control.get(), ringSize, 0, nullptr, error);
        error.check();
    }
    ~TestTrack() { tarn_storage_track_destroy(control.get(), id, 0, nullptr, error); }
    TestTrack(const TestTrack&) = delete;
    TestTrack& operator=(const TestTrack&) = delete;

    void writeRound(const StorageConnection& connection, const std::vector<char>& frame) {
        const StorageErrors failure;
        auto* const writer = tarn_storage_writer_create(connection.get(), id, "benchmark", failure);
        failure.check();
        for (std::uint64_t done = 0; done < writtenBytes; done += frame.size()) {
            tarn_storage_writer_write(writer, ++timePoint, frame.data(), frame.size(), failure);
            failure.check();
        }
        tarn_storage_writer_flush(writer, failure);
        failure.check();
        tarn_storage_writer_destroy(writer);
    }

    /// Bytes read, until the newest frame there is.
    std::uint64_t readRound(const StorageConnection& connection) const {
        const StorageErrors failure;
        auto* const reader = tarn_storage_reader_create(connection.get(), id, "benchmark",
                                                        TARN_STORAGE_START_OLDEST, 0, failure);
        failure.check();
        tarn_storage_frame frame{};
        std::uint64_t bytes = 0;
        while (frame.time_point < tarn_storage_reader_get_end_at_start(reader)) {
            if (tarn_storage_reader_read(reader, 5000, &frame, failure) == 1) {
                bytes += frame.size;
            } else if (tarn_storage_error_get_type(failure) != TARN_STORAGE_ERROR_OVERTAKEN) {
                failure.check();
            }
        }
        tarn_storage_reader_destroy(reader);
        return bytes;
    }

  private:
    const StorageServer& server;
    const StorageConnection control;
    const StorageErrors error;
    std::int64_t id = -1;
    std::int64_t timePoint = 0;
};

void reportRatio(const std::string& benchmark, double megabytes, const char* baseline,
                 double plainMegabytes) {
    const nlohmann::ordered_json line = {{"benchmark", benchmark},
                                         {"megabytes_per_second", megabytes},
                                         {"baseline", baseline},
                                         {"baseline_megabytes_per_second", plainMegabytes},
                                         {"ratio", megabytes / plainMegabytes}};
    std::puts(line.dump().c_str());
    std::fflush(stdout);
}

void compare(const StorageServer& server, std::size_t frameSize, const std::string& transport,
             const std::function<StorageConnection()>& connect) {
    constexpr double mega = 1e6;
    const PlainFile file((server.folder() / "plain").string());
    TestTrack track(server);
    std::vector<char> frame(frameSize, 'x');
    std::vector<double> writes, plainWrites, safeWrites, reads, plainReads;
    for (int round = -1; round < rounds; ++round) {
        const double plainWrite = seconds([&] { file.writeRound(frame); });
        const double safeWrite = seconds([&] { file.writeSafeRound(frame); });
        const auto writing = connect();
        const double write = seconds([&] { track.writeRound(writing, frame); });
        const double plainRead = seconds([&] { file.readRound(frame); });
        const auto reading = connect();
        std::uint64_t bytes = 0;
        const double read = seconds([&] { bytes = track.readRound(reading); });
        if (round < 0) {
            continue;  // warms up
        }
        plainWrites.push_back(writtenBytes / mega / plainWrite);
        safeWrites.push_back(writtenBytes / mega / safeWrite);
        writes.push_back(writtenBytes / mega / write);
        plainReads.push_back(ringSize / mega / plainRead);
        reads.push_back(static_cast<double>(bytes) / mega / read);
    }
    const auto name = std::to_string(frameSize / 1024) + " kB frames, " + transport;
    const auto* const plain = "plain file, same sizes";
    reportRatio("writing a track, " + name, median(writes), plain, median(plainWrites));
    reportRatio("writing a track, " + name, median(writes),
                "plain file, same sizes, synced every quarter", median(safeWrites));
    reportRatio("reading a track, " + name, median(reads), plain, median(plainReads));
}

/// Each round of one beside a round of the other: the machine is the same for both.
void compareEncryption(const StorageServer& plain, const StorageServer& encrypted,
                       std::size_t frameSize) {
    constexpr double mega = 1e6;
    TestTrack plainTrack(plain);
    TestTrack encryptedTrack(encrypted);
    const std::vector<char> frame(frameSize, 'x');
    const auto write = [&](TestTrack& track, const StorageServer& server) {
        const auto connection = server.connectTcp();
        return writtenBytes / mega / seconds([&] { track.writeRound(connection, frame); });
    };
    const auto read = [](const TestTrack& track, const StorageServer& server) {
        const auto connection = server.connectTcp();
        std::uint64_t bytes = 0;
        const double time = seconds([&] { bytes = track.readRound(connection); });
        return static_cast<double>(bytes) / mega / time;
    };
    std::vector<double> writes, plainWrites, reads, plainReads;
    for (int round = 0; round <= rounds; ++round) {
        plainWrites.push_back(write(plainTrack, plain));
        writes.push_back(write(encryptedTrack, encrypted));
        plainReads.push_back(read(plainTrack, plain));
        reads.push_back(read(encryptedTrack, encrypted));
        if (round == 0) {  // warms up
            for (auto* const values : {&writes, &plainWrites, &reads, &plainReads}) {
                values->clear();
            }
        }
    }
    const auto name = std::to_string(frameSize / 1024) + " kB frames, TLS";
    reportRatio("writing a track, " + name, median(writes), "TCP, same sizes", median(plainWrites));
    reportRatio("reading a track, " + name, median(reads), "TCP, same sizes", median(plainReads));
}

}  // namespace

void measureStorageEncryption() {
    const StorageServer plain;
    const StorageServer encrypted(StorageServer::Tcp::Encrypted);
    for (const std::size_t frameSize : {64U << 10U, 1U << 20U}) {
        compareEncryption(plain, encrypted, frameSize);
    }
}

void measureCreatingTracks() {
    const StorageServer server;
    measureTrackCreation(server);
}

void measureLoopStorage() {
    const StorageServer server;
    for (const std::size_t frameSize : {64U << 10U, 1U << 20U}) {
        compare(server, frameSize, "Unix socket", [&] { return server.connectUnix(); });
        compare(server, frameSize, "TCP", [&] { return server.connectTcp(); });
    }
    measureStorageEncryption();
    measureManyReaders(server);
    measureTrackCreation(server);
    measurePoll(server);
}

}  // namespace tarn::benchmarks
