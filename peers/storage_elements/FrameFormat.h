#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarn::peers::storage_elements {

/// In `flags`: a buffer that cannot be decoded without those before it.
inline constexpr std::uint32_t deltaUnit = 1U << 13U;

/// What stands in front of a media buffer's bytes in a frame of a track.
struct FrameHead {
    /// As the media library counts: nanoseconds; all bits set is "none".
    std::uint64_t pts = 0;
    std::uint64_t dts = 0;
    std::uint64_t duration = 0;
    std::uint32_t flags = 0;  ///< the media library's
    std::string caps;         ///< of this buffer and those after it; empty: as before
};

/// 48 bytes, and the caps.
std::string encodeHead(const FrameHead& head);

struct DecodedFrame {
    FrameHead head;
    std::string_view bytes;  ///< the media buffer's, in what was decoded
};

/// Nothing for a frame that was not written this way.
std::optional<DecodedFrame> decodeFrame(std::string_view frame);

}  // namespace tarn::peers::storage_elements
