#include "service/devices/DeleteTrackRunner.h"

#include <utility>

namespace tarn::service::devices {

DeleteTrackRunner::DeleteTrackRunner(StorageAddress storage, std::int64_t trackId)
    : BaseRunner(std::move(storage), /*size=*/0, trackId) {}

DeleteTrackRunner::~DeleteTrackRunner() {
    join();
}

void DeleteTrackRunner::run() {
    runOnConnection([this](tarn_storage_connection& connection) -> Problem {
        StorageError error;
        tarn_storage_track_destroy(&connection, getTrackId(), 0, nullptr, error.get());
        return error.isSet() ? Problem(error.message()) : std::nullopt;
    });
}

}  // namespace tarn::service::devices
