#include "peers/loop_storage/disk/DiskOperations.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>

namespace tarn::peers::loop_storage {

namespace {

std::atomic<DiskOperations*> others = nullptr;

}  // namespace

int DiskOperations::open(const char* path, int flags, mode_t mode) {
    return ::open(path, flags, mode);
}

ssize_t DiskOperations::read(int file, void* bytes, std::size_t size, off_t offset) {
    return ::pread(file, bytes, size, offset);
}

ssize_t DiskOperations::readFromMemory(int file, void* bytes, std::size_t size, off_t offset) {
    const iovec part{.iov_base = bytes, .iov_len = size};
    return ::preadv2(file, &part, 1, offset, RWF_NOWAIT);
}

ssize_t DiskOperations::write(int file, const void* bytes, std::size_t size, off_t offset) {
    return ::pwrite(file, bytes, size, offset);
}

int DiskOperations::syncData(int file) {
    return ::fdatasync(file);
}

int DiskOperations::syncFolder(int folder) {
    return ::fsync(folder);
}

DiskOperations& diskOperations() {
    static DiskOperations systems;
    auto* const set = others.load(std::memory_order_acquire);
    return set != nullptr ? *set : systems;
}

void setDiskOperations(DiskOperations* operations) {
    others.store(operations, std::memory_order_release);
}

}  // namespace tarn::peers::loop_storage
