#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "service/devices/storage/StorageConnection.h"

namespace tarn::test {

/// A client of the storage server that is attached to a track as long as this lives. What goes
/// wrong is thrown.
class TrackWriter {
  public:
    TrackWriter(const service::devices::StorageAddress& storage, std::int64_t track,
                const std::string& name);
    ~TrackWriter();
    TrackWriter(const TrackWriter&) = delete;
    TrackWriter& operator=(const TrackWriter&) = delete;

    /// The frame is in the track when this returns.
    void write(std::int64_t timePoint, std::size_t size);

  private:
    service::devices::StorageError error;
    const service::devices::StorageConnection connection;
    tarn_storage_writer* const writer;
};

class TrackReader {
  public:
    TrackReader(const service::devices::StorageAddress& storage, std::int64_t track,
                const std::string& name);
    ~TrackReader();
    TrackReader(const TrackReader&) = delete;
    TrackReader& operator=(const TrackReader&) = delete;

    /// False when no frame has come within the bound.
    bool read(std::chrono::milliseconds bound);
    /// The time point of the next frame, "none" when there is none yet, or what went wrong.
    std::string read();

  private:
    service::devices::StorageError error;
    const service::devices::StorageConnection connection;
    tarn_storage_reader* const reader;
};

}  // namespace tarn::test
