#include "tests/peers/loop_storage/support/FaultyDisk.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace tarn::test {

namespace {

constexpr auto bound = std::chrono::seconds(30);

std::string pathOf(int file) {
    const auto link = "/proc/self/fd/" + std::to_string(file);
    std::array<char, 4096> path{};
    const auto size = ::readlink(link.c_str(), path.data(), path.size());
    return {path.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

std::size_t unsignedOf(off_t offset) {
    return static_cast<std::size_t>(offset);
}

}  // namespace

FaultyDisk::FaultyDisk() {
    peers::loop_storage::setDiskOperations(this);
}

FaultyDisk::~FaultyDisk() {
    peers::loop_storage::setDiskOperations(nullptr);
}

void FaultyDisk::fail(Operation operation, const std::string& file, int error, std::size_t offset,
                      std::size_t size) {
    const std::lock_guard lock(mutex);
    faults.push_back({operation, file, error, offset, size});
}

void FaultyDisk::hang(Operation operation, const std::string& file) {
    const std::lock_guard lock(mutex);
    faults.push_back({operation, file, 0});
}

void FaultyDisk::mend() {
    {
        const std::lock_guard lock(mutex);
        faults.clear();
    }
    changed.notify_all();
}

void FaultyDisk::forgetMemory() {
    const std::lock_guard lock(mutex);
    hasMemory = false;
}

bool FaultyDisk::waitUntilHanging(std::size_t operations) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, bound, [&] { return hanging >= operations; });
}

std::size_t FaultyDisk::done(Operation operation, const std::string& file) const {
    const std::lock_guard lock(mutex);
    return static_cast<std::size_t>(
        std::count_if(wentWell.begin(), wentWell.end(), [&](const Access& access) {
            return access.operation == operation && access.path.find(file) != std::string::npos;
        }));
}

bool FaultyDisk::Fault::concerns(const Access& access) const {
    const bool isWithin = operation == Operation::Open || operation == Operation::Sync ||
                          operation == Operation::SyncFolder || size == wholeFile ||
                          (access.offset < offset + size && offset < access.offset + access.size);
    return operation == access.operation && isWithin && access.path.find(file) != std::string::npos;
}

bool FaultyDisk::hangs(const Access& access) const {
    return std::any_of(faults.begin(), faults.end(), [&](const Fault& fault) {
        return fault.error == 0 && fault.concerns(access);
    });
}

// The error that it meets, or 0.
int FaultyDisk::meet(const Access& access) {
    std::unique_lock lock(mutex);
    if (hangs(access)) {
        ++hanging;
        changed.notify_all();
        changed.wait(lock, [&] { return !hangs(access); });
        --hanging;
    }
    const auto fault = std::find_if(faults.begin(), faults.end(), [&](const Fault& candidate) {
        return candidate.concerns(access);
    });
    if (fault != faults.end()) {
        return fault->error;
    }
    wentWell.push_back(access);
    return 0;
}

int FaultyDisk::open(const char* path, int flags, mode_t mode) {
    errno = meet({Operation::Open, path});
    return errno == 0 ? DiskOperations::open(path, flags, mode) : -1;
}

ssize_t FaultyDisk::read(int file, void* bytes, std::size_t size, off_t offset) {
    errno = meet({Operation::Read, pathOf(file), unsignedOf(offset), size});
    return errno == 0 ? DiskOperations::read(file, bytes, size, offset) : -1;
}

// What would fail or hang is not in memory.
ssize_t FaultyDisk::readFromMemory(int file, void* bytes, std::size_t size, off_t offset) {
    const Access access{Operation::Read, pathOf(file), unsignedOf(offset), size};
    const std::lock_guard lock(mutex);
    const bool isOnDisk = std::any_of(faults.begin(), faults.end(),
                                      [&](const Fault& fault) { return fault.concerns(access); });
    if (isOnDisk || !hasMemory) {
        errno = EAGAIN;
        return -1;
    }
    return DiskOperations::read(file, bytes, size, offset);
}

ssize_t FaultyDisk::write(int file, const void* bytes, std::size_t size, off_t offset) {
    errno = meet({Operation::Write, pathOf(file), unsignedOf(offset), size});
    return errno == 0 ? DiskOperations::write(file, bytes, size, offset) : -1;
}

int FaultyDisk::syncData(int file) {
    errno = meet({Operation::Sync, pathOf(file)});
    return errno == 0 ? DiskOperations::syncData(file) : -1;
}

int FaultyDisk::syncFolder(int folder) {
    errno = meet({Operation::SyncFolder, pathOf(folder)});
    return errno == 0 ? DiskOperations::syncFolder(folder) : -1;
}

}  // namespace tarn::test
