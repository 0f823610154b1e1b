#include "peers/storage_elements/TrackRecorder.h"

#include <algorithm>
#include <array>

namespace tarn::peers::storage_elements {

namespace {

WriterHandle attach(const ConnectionHandle& connection, std::int64_t track, const std::string& name,
                    const ErrorHandle& error) {
    WriterHandle writer(
        tarn_storage_writer_create(connection.get(), track, name.c_str(), error.get()));
    check(error);
    return writer;
}

}  // namespace

TrackRecorder::TrackRecorder(const Location& location, std::int64_t track,
                             const std::string& workerName, std::int64_t now,
                             Acknowledged acknowledged)
    : error(tarn_storage_error_create()),
      connection(connectTo(location, error)),
      writer(attach(connection, track, workerName, error)),
      base(std::max(now, tarn_storage_writer_get_end_at_start(writer.get()) + 1)),
      last(base - 1) {
    tarn_storage_writer_set_durable(writer.get(), acknowledged == Acknowledged::Disk ? 1 : 0);
}

void TrackRecorder::record(const FrameHead& head, const void* bytes, std::size_t size,
                           std::optional<std::uint64_t> runningTime) {
    const auto headBytes = encodeHead(head);
    const std::array<tarn_storage_part, 2> parts = {
        tarn_storage_part{.data = headBytes.data(), .size = headBytes.size()},
        tarn_storage_part{.data = bytes, .size = size}};
    tarn_storage_writer_write_parts(writer.get(), nextTimePoint(runningTime), parts.data(),
                                    parts.size(), error.get());
    check(error);
}

std::int64_t TrackRecorder::nextTimePoint(std::optional<std::uint64_t> runningTime) {
    const auto wanted = runningTime ? base + static_cast<std::int64_t>(*runningTime) : last;
    last = std::max(wanted, last + 1);
    return last;
}

void TrackRecorder::flush() {
    tarn_storage_writer_flush(writer.get(), error.get());
    check(error);
}

}  // namespace tarn::peers::storage_elements
