#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "peers/storage_elements/FrameFormat.h"
#include "peers/storage_elements/StorageHandles.h"

namespace tarn::peers::storage_elements {

/// Writes media buffers into a track. One thread at a time. Everything throws std::runtime_error.
class TrackRecorder {
  public:
    /// Time points are nanoseconds: `now` (of the day's clock) and the running time of what is
    /// recorded, or whatever comes right after what the track holds, if that is later.
    /// `Disk`: the server has each buffer on the disk before it says that it has it.
    enum class Acknowledged { Memory, Disk };
    TrackRecorder(const Location& location, std::int64_t track, const std::string& workerName,
                  std::int64_t now, Acknowledged acknowledged = Acknowledged::Memory);

    /// `runningTime`: none for a buffer without a time.
    void record(const FrameHead& head, const void* bytes, std::size_t size,
                std::optional<std::uint64_t> runningTime);
    /// Until the server has everything.
    void flush();

  private:
    std::int64_t nextTimePoint(std::optional<std::uint64_t> runningTime);

    const ErrorHandle error;
    const ConnectionHandle connection;
    const WriterHandle writer;
    std::int64_t base;
    std::int64_t last;
};

}  // namespace tarn::peers::storage_elements
