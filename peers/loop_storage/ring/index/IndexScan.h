#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "peers/loop_storage/ring/index/IndexFile.h"

namespace tarn::peers::loop_storage {

namespace index_layout {

inline constexpr std::uint64_t trackOffset = 0;
inline constexpr std::uint64_t trackCopyOffset = 512;
inline constexpr std::uint64_t slotsOffset = 4096;

inline constexpr std::uint64_t limitOffset(std::uint64_t count) {
    return 1024 + count % 2 * 512;
}
inline constexpr std::uint64_t checkpointOffset(std::uint64_t count) {
    return 2048 + count % 2 * 512;
}
inline constexpr std::uint64_t slotOffset(std::uint64_t slot) {
    return slotsOffset + slot * recordSize;
}

}  // namespace index_layout

/// One reading of an index file: what can be said of its track, whatever has happened to the bytes.
///
/// Who wrote the file last decides how much of it is believed. The newer of the two checkpoints
/// tells, or, if that was torn or the records that it speaks of are not all there, the other:
///
///   Closed     it carries no boot: nobody has written since, and all records are true
///   InUse      it carries the boot of this machine as it runs now, or there is none: the writer
///   was
///              killed, and what it had written the kernel still had, so all records are true
///   Doubtful   it carries an older boot: the machine stopped while frames were written. True is
///              what the checkpoint says; a record may tell of bytes that never reached the disk
///
/// A state is found once, and nothing here changes it; Recovery settles what is Doubtful.
///
/// Always, of what is returned:
///   - frames come in order: sequence numbers, time points and positions grow. A record that would
///     break that is left out;
///   - no frame is one that a clearing, or a checkpoint, says is gone;
///   - `nextSequence` and `limit` are never below what any record tells, so that nothing that is
///     written from now on can be mistaken for what is there. Where a record of the limit has
///     suffered, one more frame of the longest kind is assumed;
///   - a record that is damaged costs the frame that it speaks of and nothing else. Only where both
///     descriptions of the track are unreadable there is nothing to return.
class IndexScan {
  public:
    explicit IndexScan(const DiskFile& file) : file(file) {}

    /// Throws as IndexFile::load does. Once for each object.
    IndexContent read(const BootId& boot);

  private:
    void readHead(IndexContent& content);
    void readSlots(const TrackRecord& track);
    void takeSlot(const char* bytes, std::uint64_t slot, const TrackRecord& track);
    void readCheckpoint(IndexContent& content, const BootId& boot);
    std::optional<CheckpointRecord> lastCheckpoint(IndexContent& content) const;
    bool isComplete(const CheckpointRecord& last, const CheckpointRecord& before,
                    std::uint64_t slots) const;
    void doubt(IndexContent& content, const CheckpointRecord& last) const;
    std::uint64_t firstUncleared() const;
    std::uint64_t firstIn(const IndexContent& content) const;
    void takeFrames(IndexContent& content) const;
    void takeLimit(IndexContent& content) const;

    const DiskFile& file;
    std::string head;
    std::vector<FrameRecord> records;
    std::uint64_t damaged = 0;
    std::optional<std::uint64_t> oldestAtCheckpoint;
};

}  // namespace tarn::peers::loop_storage
