#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <string>
#include <vector>

#include "peers/loop_storage/BootId.h"
#include "peers/loop_storage/DiskFile.h"
#include "peers/loop_storage/IndexRecords.h"

namespace tarn::peers::loop_storage {

/// How many frames a track of this size can hold.
std::uint64_t slotsFor(std::uint64_t dataSize);

/// What an index file tells of its track.
struct IndexContent {
    TrackRecord track;
    std::deque<FrameInfo> frames;  ///< oldest first; some may be gone by `limit`
    std::uint64_t nextSequence = 0;
    std::uint64_t limit = 0;
    std::uint64_t checkpoints = 0;   ///< the count of the last one
    std::vector<std::string> notes;  ///< what was found damaged or was given up, for the log
};

/// The file that says what lies where in a track's data file.
///
///   0     the track        1024  limit, the one or the other     2048  checkpoint, likewise
///   512   the same again   1536                                  2560
///   4096  frames: each in slot (sequence modulo slots)
///
/// A record is written whole, after what it speaks of, so that whoever opens the file after a crash
/// finds only what is true.
class IndexFile {
  public:
    /// Writes a new file with this content, on disk when it returns.
    static void Write(const std::filesystem::path& path, const IndexContent& content);

    explicit IndexFile(const std::filesystem::path& path);

    /// Reads everything. After a crash of the machine (the file was in use under another boot) what
    /// is not certainly on the disk is removed from the file. Throws StorageError when the file
    /// does not tell what the track is, std::system_error when it cannot be read.
    IndexContent load(const BootId& boot) const;

    void put(const FrameRecord& record, std::uint64_t slots) const;
    void put(const LimitRecord& record) const;
    void put(const CheckpointRecord& record) const;
    void sync() const { file.sync(); }

  private:
    explicit IndexFile(DiskFile file);

    DiskFile file;
};

}  // namespace tarn::peers::loop_storage
