#include "tests/chaos/machine/FrameReader.h"

#include <utility>

#include "tests/chaos/machine/TrackWorkers.h"
#include "tests/chaos/model/FrameLedger.h"

namespace tarn::chaos {

using service::devices::connectStorage;
using service::devices::StorageAddress;
using service::devices::StorageError;

namespace {

constexpr auto readerName = "chaos reader";
constexpr unsigned lookForStopMs = 50;
constexpr std::int64_t framesBetweenRests = 300;
constexpr int restMs = 250;

}  // namespace

FrameReader::FrameReader(StorageAddress storage, std::int64_t track)
    : storage(std::move(storage)),
      track(track),
      thread([this](const std::stop_token& stop) { run(stop); }) {}

void FrameReader::run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        read(stop);
        rest(untilAgainMs);
    }
}

void FrameReader::read(const std::stop_token& stop) {
    StorageError error;
    const auto connection = connectStorage(storage, error);
    const AttachedReader reader(
        connection ? tarn_storage_reader_create(connection.get(), track, readerName,
                                                TARN_STORAGE_START_OLDEST, 0, error.get())
                   : nullptr);
    std::int64_t last = 0;  // 0: whatever comes
    for (std::int64_t count = 1; reader && !stop.stop_requested(); ++count) {
        tarn_storage_frame frame{};
        const int result =
            tarn_storage_reader_read(reader.get(), lookForStopMs, &frame, error.get());
        if (result > 0) {
            judge(frame, last);
            last = frame.time_point;
        } else if (result < 0 &&
                   tarn_storage_error_get_type(error.get()) == TARN_STORAGE_ERROR_OVERTAKEN) {
            noteOvertaken();
            last = 0;
        } else if (result < 0) {
            break;
        }
        if (count % framesBetweenRests == 0) {
            rest(restMs);
        }
    }
    const int type = tarn_storage_error_get_type(error.get());
    if (type != TARN_STORAGE_OK && type != TARN_STORAGE_ERROR_CONNECTION &&
        type != TARN_STORAGE_ERROR_OVERTAKEN) {
        complain(error.message());
    }
}

void FrameReader::judge(const tarn_storage_frame& frame, std::int64_t last) {
    if (!FrameLedger::isFrame(frame.time_point, frame.data, frame.size)) {
        complain("frame " + std::to_string(frame.time_point) + " is read torn");
    }
    if (last != 0 && frame.time_point != last + 1) {
        complain("frame " + std::to_string(frame.time_point) + " is read after frame " +
                 std::to_string(last));
    }
    const std::lock_guard lock(mutex);
    ++counts.frames;
}

void FrameReader::noteOvertaken() {
    const std::lock_guard lock(mutex);
    ++counts.overtaken;
}

void FrameReader::finish() {
    thread.request_stop();
    thread.join();
}

FrameReader::Figures FrameReader::figures() const {
    const std::lock_guard lock(mutex);
    return counts;
}

std::vector<std::string> FrameReader::takeProblems() {
    const std::lock_guard lock(mutex);
    return std::exchange(problems, {});
}

void FrameReader::complain(const std::string& problem) {
    const std::lock_guard lock(mutex);
    problems.push_back("loop storage: " + problem);
}

}  // namespace tarn::chaos
