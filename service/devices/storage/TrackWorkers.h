#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "platform/storage_client/tarn_storage.h"

namespace tarn::service::devices {

/// The workers of one kind that are attached to one track.
struct WorkerGroup {
    std::uint64_t count = 0;
    std::set<std::string> names;  ///< a name that several workers have is here once

    void add(const tarn_storage_worker_info& worker);

    /// The names in ascending byte order, with commas between them.
    std::string joinedNames() const;
};

struct TrackWorkers {
    WorkerGroup readers;
    WorkerGroup writers;
};

/// The workers of every track that has some, by the track's id. Workers that neither read nor write
/// are left out.
std::map<std::int64_t, TrackWorkers> workersByTrack(const tarn_storage_worker_info_list& workers);

}  // namespace tarn::service::devices
