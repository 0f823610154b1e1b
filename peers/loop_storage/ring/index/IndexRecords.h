#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "peers/loop_storage/ring/index/FrameInfo.h"

namespace tarn::peers::loop_storage {

/// Everything in an index file is a record of this size: numbers lowest byte first, and a checksum
/// at its end that also covers the record's kind. Never torn by a page or a sector.
inline constexpr std::size_t recordSize = 64;
using RecordBytes = std::array<char, recordSize>;

/// What is written. Version 1, which had neither checksums of frames nor what is lost, is read too.
inline constexpr std::uint64_t indexVersion = 2;

/// What the track is.
struct TrackRecord {
    std::uint64_t dataSize = 0;
    std::uint64_t slots = 0;
    std::uint64_t id = 0;
    std::uint64_t generation = 0;  ///< of the data file; its name ends in this number
    /// As it was read; what is written is always the newest. Of one that is newer than this server
    /// nothing else is known.
    std::uint64_t version = indexVersion;
};

/// A frame is in the ring; or, without one, all frames before `sequence` are forgotten.
struct FrameRecord {
    enum class Kind { Frame, Cleared } kind = Kind::Frame;
    FrameInfo frame;
    std::uint64_t oldest = 0;               ///< the lowest sequence number still in the ring
    std::optional<std::int64_t> lost = {};  ///< the last time point that has gone from the ring
};

/// Positions up to here may have been written.
struct LimitRecord {
    std::uint64_t count = 0;  ///< of two, the one with the higher number holds
    std::uint64_t limit = 0;
};

/// What is certainly on the disk.
struct CheckpointRecord {
    std::uint64_t count = 0;
    std::uint64_t nextSequence = 0;  ///< frames below it
    std::uint64_t limit = 0;         ///< positions that may be written until the next checkpoint
    /// The lowest sequence number in the ring, or `nextSequence` when it is empty.
    std::optional<std::uint64_t> oldest = {};
    std::array<char, 16> boot{};  ///< of the machine, while writing; zeros: closed in order
    std::optional<std::int64_t> lost = {};  ///< the last time point that has gone from the ring
};

RecordBytes encode(const TrackRecord& record);
RecordBytes encode(const FrameRecord& record);
RecordBytes encode(const LimitRecord& record);
RecordBytes encode(const CheckpointRecord& record);

/// Nothing for bytes that are no such record, or that have suffered.
std::optional<TrackRecord> decodeTrack(const char* bytes);
std::optional<FrameRecord> decodeFrame(const char* bytes);
std::optional<LimitRecord> decodeLimit(const char* bytes);
std::optional<CheckpointRecord> decodeCheckpoint(const char* bytes);

/// A place where no record was ever written.
bool isBlank(const char* bytes);

}  // namespace tarn::peers::loop_storage
