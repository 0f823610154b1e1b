#include "peers/loop_storage/ring/TrackSpace.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "peers/loop_storage/ring/index/IndexScan.h"

namespace tarn::peers::loop_storage {

namespace {

// File systems keep a list of the pieces that a file lies in. Where a block of it names 340 of
// them, this is enough for pieces of 48 kB.
constexpr std::uint64_t fixedAccount = 256U << 10U;
constexpr std::uint64_t accountPart = 4096;
constexpr std::uint64_t statBlock = 512;

std::uint64_t inBlocks(std::uint64_t size, std::uint64_t block) {
    return (size + block - 1) / block * block;
}

std::uint64_t indexSpace(std::uint64_t size, std::uint64_t block) {
    return inBlocks(index_layout::slotOffset(slotsFor(size)), block);
}

std::uint64_t accountFor(std::uint64_t bytes) {
    return fixedAccount + bytes / accountPart;
}

}  // namespace

DiskSpace diskSpaceOf(const std::filesystem::path& folder) {
    struct statvfs disk {};
    if (::statvfs(folder.c_str(), &disk) != 0) {
        throw std::system_error(errno, std::generic_category(),
                                "Cannot look at the disk of " + folder.string());
    }
    return {.available = static_cast<std::uint64_t>(disk.f_bavail) * disk.f_frsize,
            .block = std::max<std::uint64_t>(disk.f_frsize, 1)};
}

std::uint64_t takenBy(const std::filesystem::path& folder) {
    std::uint64_t taken = 0;
    std::error_code error;
    std::filesystem::directory_iterator entry(folder, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        struct stat info {};
        if (::lstat(entry->path().c_str(), &info) == 0) {
            taken += static_cast<std::uint64_t>(info.st_blocks) * statBlock;
        }
    }
    return taken;
}

std::uint64_t spaceForTrack(std::uint64_t size, std::uint64_t block) {
    return inBlocks(size, block) + indexSpace(size, block) + block + accountFor(size);
}

std::uint64_t spaceForGrowth(std::uint64_t before, std::uint64_t after, std::uint64_t block) {
    return inBlocks(after, block) - inBlocks(before, block) + indexSpace(after, block) +
           accountFor(after - before);
}

std::uint64_t largestTrackIn(const DiskSpace& disk) {
    std::uint64_t fits = 0;
    std::uint64_t tooLarge = largestTrack + 1;
    while (tooLarge - fits > 1) {
        const auto size = fits + (tooLarge - fits) / 2;
        (spaceForTrack(size, disk.block) <= disk.available ? fits : tooLarge) = size;
    }
    return fits;
}

}  // namespace tarn::peers::loop_storage
