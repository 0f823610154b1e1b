#include "peers/loop_storage/disk/DiskErrors.h"

namespace tarn::peers::loop_storage {

DiskErrors::DiskErrors(std::int64_t track) : trackName("Track " + std::to_string(track) + ": ") {}

void DiskErrors::note(const std::system_error& failure) {
    errors.fetch_add(1, std::memory_order_relaxed);
    const std::lock_guard lock(mutex);
    lines.log(trackName + failure.what());
}

}  // namespace tarn::peers::loop_storage
