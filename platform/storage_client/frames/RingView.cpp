#include "platform/storage_client/frames/RingView.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>

#include <algorithm>
#include <utility>

#include "platform/storage_wire/MemorySharing.h"

namespace tarn::storage_client {

namespace {

bool isLongEnough(const tarn::os::FileDescriptor& file, std::uint64_t size) {
    struct stat info {};
    return ::fstat(file.get(), &info) == 0 && info.st_size >= 0 &&
           static_cast<std::uint64_t>(info.st_size) >= size;
}

}  // namespace

std::unique_ptr<RingView> RingView::Open(std::unique_ptr<tarn::os::FileDescriptor> data,
                                         const tarn::os::FileDescriptor& limitPage,
                                         std::uint64_t ringSize) {
    // A page that is too short would end the process at the first look.
    if (ringSize == 0 || !isLongEnough(limitPage, storage_wire::limitPageSize)) {
        return nullptr;
    }
    void* const page =
        ::mmap(nullptr, storage_wire::limitPageSize, PROT_READ, MAP_SHARED, limitPage.get(), 0);
    if (page == MAP_FAILED) {
        return nullptr;
    }
    return std::unique_ptr<RingView>(new RingView(std::move(data), page, ringSize));
}

RingView::~RingView() {
    ::munmap(page, storage_wire::limitPageSize);
}

bool RingView::read(std::uint64_t position, std::size_t size, char* bytes) const {
    const auto offset = position % ringSize;
    const auto first = static_cast<std::size_t>(std::min<std::uint64_t>(size, ringSize - offset));
    if (!readAt(offset, first, bytes) || !readAt(0, size - first, bytes + first)) {
        return false;
    }
    storage_wire::orderRingAndLimit();
    return static_cast<const storage_wire::LimitPage*>(page)->limit.load() <= position + ringSize;
}

// What is not in memory is the server's to fetch, whose answer has its time-out.
bool RingView::readAt(std::uint64_t offset, std::size_t size, char* bytes) const {
    const iovec part{.iov_base = bytes, .iov_len = size};
    return size == 0 || ::preadv2(data->get(), &part, 1, static_cast<off_t>(offset), RWF_NOWAIT) ==
                            static_cast<ssize_t>(size);
}

}  // namespace tarn::storage_client
