#include "service/devices/storage/DeleteTrackRunner.h"

#include <utility>

namespace tarn::service::devices {

DeleteTrackRunner::DeleteTrackRunner(StorageAddress storage, std::int64_t trackId)
    : BaseRunner(std::move(storage), /*size=*/0, trackId) {}

DeleteTrackRunner::~DeleteTrackRunner() {
    join();
}

void DeleteTrackRunner::run() {
    runOnConnection(
        [this](tarn_storage_connection* connection, std::int64_t* ticket,
               tarn_storage_error* error) -> std::int64_t {
            return tarn_storage_track_destroy(connection, getTrackId(), 0, ticket, error);
        },
        [](std::int64_t) -> Problem { return std::nullopt; });
}

}  // namespace tarn::service::devices
