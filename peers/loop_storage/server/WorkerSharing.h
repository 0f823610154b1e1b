#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "peers/loop_storage/ring/SharedMemory.h"
#include "peers/loop_storage/ring/Track.h"

namespace tarn::peers::loop_storage {

/// What a writer on this machine puts its frames into. Throws std::system_error when made.
class WriterMemory {
  public:
    WriterMemory();

    std::size_t size() const { return memory.size(); }
    int descriptor() const { return memory.descriptor(); }
    /// Whatever the client has there now, and may change meanwhile. Throws WireError for a place
    /// that is not within it.
    std::string_view at(std::uint64_t offset, std::uint64_t size) const;

  private:
    const SharedMemory memory;
};

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
