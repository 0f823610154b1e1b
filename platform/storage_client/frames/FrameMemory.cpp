#include "platform/storage_client/frames/FrameMemory.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>

namespace tarn::storage_client {

namespace {

// No more of the memory is gone through than it takes, so that it stays in the processor's caches.
constexpr std::uint64_t enoughFrames = 4;
constexpr std::uint64_t leastUsed = 2U << 20U;
constexpr std::uint64_t alignment = 64;

std::uint64_t aligned(std::uint64_t size) {
    return (size + alignment - 1) / alignment * alignment;
}

bool hasSize(const tarn::os::FileDescriptor& memory, std::uint64_t size) {
    struct stat info {};
    return ::fstat(memory.get(), &info) == 0 && info.st_size > 0 &&
           static_cast<std::uint64_t>(info.st_size) == size;
}

}  // namespace

std::unique_ptr<FrameMemory> FrameMemory::Map(const tarn::os::FileDescriptor& memory,
                                              std::uint64_t size) {
    if (!hasSize(memory, size)) {
        return nullptr;
    }
    void* const address = ::mmap(nullptr, static_cast<std::size_t>(size), PROT_READ | PROT_WRITE,
                                 MAP_SHARED, memory.get(), 0);
    if (address == MAP_FAILED) {
        return nullptr;
    }
    return std::unique_ptr<FrameMemory>(new FrameMemory(static_cast<char*>(address), size));
}

FrameMemory::~FrameMemory() {
    ::munmap(bytes, static_cast<std::size_t>(byteCount));
}

std::optional<std::uint64_t> FrameMemory::place(std::uint64_t size) {
    if (size > byteCount) {
        return std::nullopt;
    }
    used = std::min(std::max({used, leastUsed, enoughFrames * aligned(size)}), byteCount);
    if (placed.empty()) {
        placed.push_back({.begin = 0, .end = aligned(size)});
        return 0;
    }
    const auto oldest = placed.front().begin;
    const auto newest = placed.back();
    const bool goesRound = newest.begin < oldest;
    std::uint64_t begin = newest.end;
    std::uint64_t end = goesRound ? oldest : used;
    if (!goesRound && begin + size > used) {
        begin = 0;
        end = oldest;
    }
    if (begin + size > end) {
        return std::nullopt;
    }
    placed.push_back({.begin = begin, .end = std::min(begin + aligned(size), byteCount)});
    return begin;
}

}  // namespace tarn::storage_client
