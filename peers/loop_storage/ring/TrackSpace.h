#pragma once

#include <cstdint>
#include <filesystem>

namespace tarn::peers::loop_storage {

/// The largest track there may be.
inline constexpr std::uint64_t largestTrack = 1ULL << 50U;

/// What a file system has for who is not its administrator. It gives space by whole blocks.
struct DiskSpace {
    std::uint64_t available = 0;  ///< bytes
    std::uint64_t block = 4096;
};

/// Of the file system of this folder. Throws std::system_error.
DiskSpace diskSpaceOf(const std::filesystem::path& folder);

/// What the files of a folder have taken of the disk by now; 0 without the folder.
std::uint64_t takenBy(const std::filesystem::path& folder);

/// What a new track of this size (at most largestTrack) takes of the disk: its data, its index, its
/// folder, and what the file system needs to keep account of them.
std::uint64_t spaceForTrack(std::uint64_t size, std::uint64_t block);

/// What another size takes in addition, the new index before the old one goes.
std::uint64_t spaceForGrowth(std::uint64_t before, std::uint64_t after, std::uint64_t block);

/// The largest new track that there is space for; 0 when there is none for any.
std::uint64_t largestTrackIn(const DiskSpace& disk);

}  // namespace tarn::peers::loop_storage
