#include "service/devices/CreateTrackRunner.h"

#include <utility>

namespace tarn::service::devices {

CreateTrackRunner::CreateTrackRunner(StorageAddress storage, std::uint64_t size)
    : BaseRunner(std::move(storage), size, /*trackId=*/-1) {}

CreateTrackRunner::~CreateTrackRunner() {
    join();
}

void CreateTrackRunner::run() {
    runOnConnection([this](tarn_storage_connection& connection) -> Problem {
        StorageError error;
        const auto id = tarn_storage_track_create(&connection, getSize(), 0, nullptr, error.get());
        if (error.isSet()) {
            return error.message();
        }
        setTrackId(id);
        return std::nullopt;
    });
}

}  // namespace tarn::service::devices
