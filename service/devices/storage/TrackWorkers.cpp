#include "service/devices/storage/TrackWorkers.h"

#include <cstring>

namespace tarn::service::devices {

void WorkerGroup::add(const tarn_storage_worker_info& worker) {
    ++count;
    names.emplace(worker.name, ::strnlen(worker.name, sizeof worker.name));
}

std::string WorkerGroup::joinedNames() const {
    std::string text;
    for (const auto& name : names) {
        text += (&name == &*names.begin() ? "" : ",") + name;
    }
    return text;
}

std::map<std::int64_t, TrackWorkers> workersByTrack(const tarn_storage_worker_info_list& workers) {
    std::map<std::int64_t, TrackWorkers> result;
    const auto count = tarn_storage_worker_info_list_get_count(&workers);
    for (std::size_t i = 0; i < count; ++i) {
        const auto& worker = *tarn_storage_worker_info_list_get(&workers, i);
        if (worker.kind == TARN_STORAGE_WORKER_READER) {
            result[worker.track_id].readers.add(worker);
        } else if (worker.kind == TARN_STORAGE_WORKER_WRITER) {
            result[worker.track_id].writers.add(worker);
        }
    }
    return result;
}

}  // namespace tarn::service::devices
