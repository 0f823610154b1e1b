#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/os/FileDescriptor.h"

namespace tarn::storage_client {

/// A track's data file on this machine, for a reader whom the server tells what lies where.
class RingView {
  public:
    /// The page says how far the ring has been written. Null when it cannot be used.
    static std::unique_ptr<RingView> Open(std::unique_ptr<os::FileDescriptor> data,
                                          const os::FileDescriptor& limitPage,
                                          std::uint64_t ringSize);
    ~RingView();
    RingView(const RingView&) = delete;
    RingView& operator=(const RingView&) = delete;

    /// The bytes of a frame. False when the ring has gone over them, and when that would mean
    /// waiting for the disk. While the server holds the reader attached it is certain, and so only
    /// if it still does afterwards.
    bool read(std::uint64_t position, std::size_t size, char* bytes) const;

    std::uint64_t size() const { return ringSize; }

  private:
    RingView(std::unique_ptr<os::FileDescriptor> data, void* page, std::uint64_t ringSize)
        : data(std::move(data)), page(page), ringSize(ringSize) {}
    bool readAt(std::uint64_t offset, std::size_t size, char* bytes) const;

    const std::unique_ptr<os::FileDescriptor> data;
    void* const page;
    const std::uint64_t ringSize;
};

}  // namespace tarn::storage_client
