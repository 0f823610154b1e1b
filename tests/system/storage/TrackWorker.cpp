#include "tests/system/storage/TrackWorker.h"

#include <stdexcept>

namespace tarn::test {

using service::devices::connectStorage;
using service::devices::StorageAddress;

namespace {

void check(bool good, const service::devices::StorageError& error) {
    if (!good) {
        throw std::runtime_error(error.message());
    }
}

}  // namespace

TrackWriter::TrackWriter(const StorageAddress& storage, std::int64_t track, const std::string& name)
    : connection(connectStorage(storage, error)),
      writer(tarn_storage_writer_create(connection.get(), track, name.c_str(), error.get())) {
    check(writer != nullptr, error);
}

TrackWriter::~TrackWriter() {
    tarn_storage_writer_destroy(writer);
}

void TrackWriter::write(std::int64_t timePoint, std::size_t size) {
    const std::string bytes(size, 'x');
    check(tarn_storage_writer_write(writer, timePoint, bytes.data(), size, error.get()) == 0 &&
              tarn_storage_writer_flush(writer, error.get()) == 0,
          error);
}

TrackReader::TrackReader(const StorageAddress& storage, std::int64_t track, const std::string& name)
    : connection(connectStorage(storage, error)),
      reader(tarn_storage_reader_create(connection.get(), track, name.c_str(),
                                        TARN_STORAGE_START_OLDEST, 0, error.get())) {
    check(reader != nullptr, error);
}

bool TrackReader::read(std::chrono::milliseconds bound) {
    tarn_storage_frame frame{};
    const int result =
        tarn_storage_reader_read(reader, static_cast<unsigned>(bound.count()), &frame, error.get());
    check(result >= 0, error);
    return result == 1;
}

TrackReader::~TrackReader() {
    tarn_storage_reader_destroy(reader);
}

std::string TrackReader::read() {
    constexpr unsigned patience = 1000;
    tarn_storage_frame frame{};
    const int result = tarn_storage_reader_read(reader, patience, &frame, error.get());
    return result < 0 ? error.message() : result == 0 ? "none" : std::to_string(frame.time_point);
}

}  // namespace tarn::test
