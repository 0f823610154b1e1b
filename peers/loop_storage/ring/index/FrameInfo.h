#pragma once

#include <cstdint>
#include <optional>

namespace tarn::peers::loop_storage {

/// One frame of a track.
struct FrameInfo {
    std::uint64_t sequence = 0;  ///< grows by one from frame to frame, for the track's whole life
    std::int64_t timePoint = 0;  ///< grows too, by what the writer likes
    /// Where it begins. Positions grow for ever; in the data file they are taken modulo its size.
    std::uint64_t position = 0;
    std::uint64_t size = 0;
    /// Of its bytes, CRC-32C; none of a frame that was written before there were any.
    std::optional<std::uint32_t> checksum = {};

    std::uint64_t end() const { return position + size; }
    bool operator==(const FrameInfo&) const = default;
};

}  // namespace tarn::peers::loop_storage
