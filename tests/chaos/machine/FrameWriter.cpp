#include "tests/chaos/machine/FrameWriter.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "tests/chaos/machine/TrackWorkers.h"

namespace tarn::chaos {

using service::devices::connectStorage;
using service::devices::StorageAddress;
using service::devices::StorageError;

namespace {

constexpr auto workerName = "chaos";
constexpr int betweenBurstsMs = 10;
constexpr std::int64_t longestBurst = 12;
constexpr unsigned longestReadMs = 2000;

bool send(tarn_storage_writer* writer, std::int64_t timePoint, StorageError& error) {
    const auto bytes = FrameLedger::bytesOf(timePoint);
    return tarn_storage_writer_write(writer, timePoint, bytes.data(), bytes.size(), error.get()) ==
           0;
}

}  // namespace

FrameWriter::FrameWriter(StorageAddress storage, std::int64_t track, std::uint64_t ringSize)
    : storage(std::move(storage)),
      track(track),
      ledger(ringSize),
      thread([this](const std::stop_token& stop) { run(stop); }) {}

void FrameWriter::run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        if (check() == Server::Gone || write(stop) == Server::Gone) {
            rest(untilAgainMs);
        }
    }
}

// Nobody else writes: the newest frame is the one that was there at the beginning.
FrameWriter::Server FrameWriter::check() {
    StorageError error;
    const auto connection = connectStorage(storage, error);
    const AttachedReader reader(
        connection ? tarn_storage_reader_create(connection.get(), track, workerName,
                                                TARN_STORAGE_START_OLDEST, 0, error.get())
                   : nullptr);
    if (!reader) {
        return gone(error);
    }
    const auto newest = tarn_storage_reader_get_end_at_start(reader.get());
    std::vector<FrameLedger::Found> frames;
    while (newest >= 0 && (frames.empty() || frames.back().timePoint < newest)) {
        tarn_storage_frame frame{};
        const int result =
            tarn_storage_reader_read(reader.get(), longestReadMs, &frame, error.get());
        if (result == 0) {
            complain("the newest frame does not come: " + std::to_string(newest));
        }
        if (result <= 0) {
            return gone(error);
        }
        frames.push_back(
            {frame.time_point, FrameLedger::isFrame(frame.time_point, frame.data, frame.size)});
    }
    judge(frames);
    return Server::There;
}

FrameWriter::Server FrameWriter::write(const std::stop_token& stop) {
    StorageError error;
    const auto connection = connectStorage(storage, error);
    const AttachedWriter writer(
        connection ? tarn_storage_writer_create(connection.get(), track, workerName, error.get())
                   : nullptr);
    if (!writer) {
        return gone(error);
    }
    auto last = std::max<std::int64_t>(tarn_storage_writer_get_end_at_start(writer.get()), 0);
    while (!stop.stop_requested()) {
        for (auto left = 1 + last % longestBurst; left > 0; --left) {
            ledger.sent(++last);
            if (!send(writer.get(), last, error)) {
                return gone(error);
            }
        }
        if (tarn_storage_writer_flush(writer.get(), error.get()) != 0) {
            return gone(error);
        }
        ledger.acknowledged(last);
        {
            const std::lock_guard lock(mutex);
            counts.acknowledged = last;
        }
        rest(betweenBurstsMs);
    }
    return Server::There;
}

// A server that was killed is no problem; all else is.
FrameWriter::Server FrameWriter::gone(StorageError& error) {
    const int type = tarn_storage_error_get_type(error.get());
    if (type != TARN_STORAGE_OK && type != TARN_STORAGE_ERROR_CONNECTION) {
        complain(error.message());
    }
    return Server::Gone;
}

void FrameWriter::finish() {
    thread.request_stop();
    thread.join();
    if (check() == Server::Gone) {
        complain("the frames cannot be read in the end");
    }
}

FrameWriter::Figures FrameWriter::figures() const {
    const std::lock_guard lock(mutex);
    return counts;
}

std::vector<std::string> FrameWriter::takeProblems() {
    const std::lock_guard lock(mutex);
    return std::exchange(problems, {});
}

void FrameWriter::judge(const std::vector<FrameLedger::Found>& frames) {
    for (const auto& problem : ledger.problemsWith(frames)) {
        complain(problem);
    }
    const std::lock_guard lock(mutex);
    ++counts.checks;
    counts.checkedFrames += frames.size();
}

void FrameWriter::complain(const std::string& problem) {
    const std::lock_guard lock(mutex);
    problems.push_back("loop storage: " + problem);
}

}  // namespace tarn::chaos
