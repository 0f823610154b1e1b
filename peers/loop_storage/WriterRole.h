#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "peers/loop_storage/Storage.h"

namespace tarn::peers::loop_storage {

/// A client that writes a track: its frames go to the disk as their bytes come, never as a whole in
/// memory.
class WriterRole {
  public:
    explicit WriterRole(std::shared_ptr<Attachment> attachment);

    /// Throw StorageError, std::system_error: the frame is not, and will not be, in the track.
    void begin(std::int64_t timePoint, std::uint64_t size);
    void write(std::string_view piece);
    void commit();

  private:
    const std::shared_ptr<Attachment> attachment;
    FrameInfo frame;
    std::uint64_t written = 0;
};

}  // namespace tarn::peers::loop_storage
