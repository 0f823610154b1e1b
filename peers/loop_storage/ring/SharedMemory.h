#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/os/FileDescriptor.h"

namespace tarn::peers::loop_storage {

/// Memory that one client or many on this machine have too. Nobody can change its size, so that
/// nothing they do makes an access here fail. Throws std::system_error when made.
class SharedMemory {
  public:
    enum class ClientMay { Read, Write };

    SharedMemory(std::size_t size, ClientMay right);
    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    char* begin() const { return bytes; }
    std::size_t size() const { return byteCount; }
    int descriptor() const { return file.get(); }

  private:
    const std::size_t byteCount;
    const os::FileDescriptor file;
    char* const bytes;  // for reading only where clients write
};

/// How far a track's ring has been written, for readers that read its file by themselves.
class SharedLimit {
  public:
    explicit SharedLimit(std::uint64_t limit);

    /// Before a byte is written that it speaks of.
    void raise(std::uint64_t limit);

    int descriptor() const { return memory.descriptor(); }

  private:
    const SharedMemory memory;
};

}  // namespace tarn::peers::loop_storage
