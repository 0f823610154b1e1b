#pragma once

#include <filesystem>

#include "peers/loop_storage/disk/DiskFile.h"
#include "peers/loop_storage/ring/index/IndexFile.h"

namespace tarn::peers::loop_storage {

/// A data file's name: this, and its generation.
inline constexpr auto dataPrefix = "data.";

/// The open files of a track. Who uses them keeps them alive.
struct TrackFiles {
    TrackFiles(const std::filesystem::path& dataPath, const std::filesystem::path& indexPath)
        : data(dataPath, DiskFile::Mode::Existing), index(indexPath) {}

    DiskFile data;
    IndexFile index;
};

/// Bytes of a ring at a position, which may go over its end and on at its beginning.
void writeRing(const DiskFile& data, std::uint64_t ringSize, std::uint64_t position,
               const char* bytes, std::size_t size);
void readRing(const DiskFile& data, std::uint64_t ringSize, std::uint64_t position, char* bytes,
              std::size_t size);
/// The same as reading, without ever waiting for the disk: false where not all is in memory.
bool readRingFromMemory(const DiskFile& data, std::uint64_t ringSize, std::uint64_t position,
                        char* bytes, std::size_t size);

}  // namespace tarn::peers::loop_storage
