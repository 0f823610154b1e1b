#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>

#include "platform/os/FileDescriptor.h"

namespace tarn::storage_client {

/// Memory that a server on this machine has too: a writer puts frames into it, which the server
/// takes from there. Not thread-safe.
class FrameMemory {
  public:
    /// `size`: what the server says of it. Null when it cannot be used.
    static std::unique_ptr<FrameMemory> Map(const os::FileDescriptor& memory, std::uint64_t size);
    ~FrameMemory();
    FrameMemory(const FrameMemory&) = delete;
    FrameMemory& operator=(const FrameMemory&) = delete;

    /// Where a frame of that size, which is not 0, is to be put; nothing until frames are released.
    /// A size above `largest` never fits.
    std::optional<std::uint64_t> place(std::uint64_t size);
    /// The server has taken the oldest frame that was placed.
    void release() { placed.pop_front(); }

    std::uint64_t largest() const { return byteCount; }
    char* at(std::uint64_t offset) const { return bytes + offset; }

  private:
    struct Extent {
        std::uint64_t begin;
        std::uint64_t end;
    };

    FrameMemory(char* bytes, std::uint64_t size) : bytes(bytes), byteCount(size) {}

    char* const bytes;
    const std::uint64_t byteCount;
    std::uint64_t used = 0;  // of it, from its beginning
    std::deque<Extent> placed;
};

}  // namespace tarn::storage_client
