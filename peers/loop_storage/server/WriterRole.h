#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "peers/loop_storage/operations/Storage.h"
#include "peers/loop_storage/server/WorkerSharing.h"

namespace tarn::peers::loop_storage {

/// A client that writes a track: its frames go to the disk as their bytes come, never as a whole in
/// memory that is the server's.
class WriterRole {
  public:
    /// `memory`: what the client puts frames into, if it has any.
    WriterRole(std::shared_ptr<Attachment> attachment, std::shared_ptr<const WriterMemory> memory);

    /// Whether a frame of this size has to wait until the disk has what was written before: then
    /// its place is reserved at the track, by a thread that may wait.
    bool mustWaitFor(std::uint64_t size) const;
    void begun(const FrameInfo& place);

    /// Throw StorageError, std::system_error: the frame is not, and will not be, in the track.
    void begin(std::int64_t timePoint, std::uint64_t size);
    /// The client has made the checksum of the frame that has begun; nothing: it is made here.
    void giveChecksum(std::optional<std::uint32_t> checksum) { frame.checksum = checksum; }
    void write(std::string_view piece);
    void commit();

    /// A whole frame's bytes that lie in the memory. Throws WireError.
    std::string_view at(std::uint64_t offset, std::uint64_t size) const;

    const std::shared_ptr<Attachment>& held() const { return attachment; }

  private:
    const std::shared_ptr<Attachment> attachment;
    const std::shared_ptr<const WriterMemory> memory;
    FrameInfo frame;
    std::uint64_t written = 0;
};

}  // namespace tarn::peers::loop_storage
