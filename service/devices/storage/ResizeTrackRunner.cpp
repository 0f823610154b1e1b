#include "service/devices/storage/ResizeTrackRunner.h"

#include <utility>

namespace tarn::service::devices {

ResizeTrackRunner::ResizeTrackRunner(StorageAddress storage, std::int64_t trackId,
                                     std::uint64_t size)
    : BaseRunner(std::move(storage), size, trackId) {}

ResizeTrackRunner::~ResizeTrackRunner() {
    join();
}

void ResizeTrackRunner::run() {
    runOnConnection(
        [this](tarn_storage_connection* connection, std::int64_t* ticket,
               tarn_storage_error* error) {
            return tarn_storage_track_resize(connection, getTrackId(), getSize(), 0, ticket, error);
        },
        [this](std::int64_t reached) { return compare(reached); });
}

BaseRunner::Problem ResizeTrackRunner::compare(std::int64_t reached) const {
    if (static_cast<std::uint64_t>(reached) == getSize()) {
        return std::nullopt;
    }
    return "Size after resize is " + std::to_string(reached) + " while " +
           std::to_string(getSize()) + " is expected";
}

}  // namespace tarn::service::devices
