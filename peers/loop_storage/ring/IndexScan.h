#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "peers/loop_storage/ring/IndexFile.h"

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

/// One reading of an index file. What its bytes are is checked, whatever has happened to them.
class IndexScan {
  public:
    explicit IndexScan(const DiskFile& file) : file(file) {}

    IndexContent read(const BootId& boot);

  private:
    void readHead(IndexContent& content);
    void readSlots(const TrackRecord& track);
    void takeSlot(const char* bytes, std::uint64_t slot, const TrackRecord& track);
    void readCheckpoint(IndexContent& content, const BootId& boot);
    std::optional<CheckpointRecord> lastCheckpoint(IndexContent& content) const;
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
