#pragma once

#include <memory>
#include <vector>

#include "peers/loop_storage/ring/SharedMemory.h"
#include "peers/loop_storage/ring/Track.h"

namespace tarn::peers::loop_storage {

/// What a worker on this machine gets, so that no frame goes through its socket.
struct WorkerSharing {
    std::shared_ptr<const WriterMemory> memory;  ///< a writer's
    Track::Shared ring;                          ///< a reader's

    /// In the order in which they are sent; none when nothing is shared.
    std::vector<int> descriptors() const;
};

/// For a worker that is attached. Where the machine has no more memory or descriptors to share the
/// log tells, and nothing is shared.
WorkerSharing makeWorkerSharing(Track& track, Track::WorkerKind kind);

}  // namespace tarn::peers::loop_storage
