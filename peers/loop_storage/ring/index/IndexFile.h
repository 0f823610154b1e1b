#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "peers/loop_storage/disk/DiskFile.h"
#include "peers/loop_storage/ring/BootId.h"
#include "peers/loop_storage/ring/index/IndexRecords.h"

namespace tarn::peers::loop_storage {

/// How many frames a track of this size can hold.
std::uint64_t slotsFor(std::uint64_t dataSize);

/// What an index file tells of its track.
struct IndexContent {
    TrackRecord track;
    std::deque<FrameInfo> frames;  ///< oldest first; some may be gone by `limit`
    std::uint64_t nextSequence = 0;
    std::uint64_t limit = 0;
    std::uint64_t checkpoints = 0;     ///< the count of the last one
    std::optional<std::int64_t> lost;  ///< the last time point that has gone from the ring

    /// Who wrote it last: nobody since it was closed in order; somebody whom this machine has
    /// outlived, so that all of it is true; or it was being written when the machine stopped.
    enum class State { Closed, InUse, Doubtful } state = State::Closed;
    /// Doubtful: what certainly was on the disk.
    struct Certain {
        std::uint64_t sequence = 0;  ///< frames below it, if they have not been gone over
        std::uint64_t limit = 0;     ///< no position from here on has been written
        /// Where frames may begin that reached the disk by themselves.
        std::uint64_t next = 0;
        std::vector<std::uint64_t> beyond;  ///< the sequence numbers of all records from there on
    } certain;

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

    explicit IndexFile(const std::filesystem::path& path,
                       DiskFile::Mode mode = DiskFile::Mode::Existing);

    /// Reads everything and changes nothing. Throws StorageError when the file does not tell what
    /// the track is or is of a version that this server does not know, std::system_error when it
    /// cannot be read.
    IndexContent load(const BootId& boot) const;

    void put(const TrackRecord& record) const;
    void put(const FrameRecord& record, std::uint64_t slots) const;
    void put(const LimitRecord& record) const;
    void put(const CheckpointRecord& record) const;
    /// Nothing is in the slot of this sequence number any more.
    void blank(std::uint64_t sequence, std::uint64_t slots) const;
    void sync() const { file.sync(); }

  private:
    explicit IndexFile(DiskFile file);

    DiskFile file;
};

}  // namespace tarn::peers::loop_storage
