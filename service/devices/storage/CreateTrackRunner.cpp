#include "service/devices/storage/CreateTrackRunner.h"

#include <utility>

namespace tarn::service::devices {

CreateTrackRunner::CreateTrackRunner(StorageAddress storage, std::uint64_t size)
    : BaseRunner(std::move(storage), size, /*trackId=*/-1) {}

CreateTrackRunner::~CreateTrackRunner() {
    join();
}

void CreateTrackRunner::run() {
    runOnConnection(
        [this](tarn_storage_connection* connection, std::int64_t* ticket,
               tarn_storage_error* error) {
            return tarn_storage_track_create(connection, getSize(), 0, ticket, error);
        },
        [this](std::int64_t id) -> Problem {
            setTrackId(id);
            return std::nullopt;
        });
}

}  // namespace tarn::service::devices
