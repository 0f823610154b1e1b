#include "peers/storage_elements/FrameFormat.h"

#include <bit>
#include <cstring>

namespace tarn::peers::storage_elements {

namespace {

static_assert(std::endian::native == std::endian::little, "numbers are written as they lie");

// Also the version of the format.
constexpr std::array<char, 8> magic = {'T', 'A', 'R', 'N', 'B', 'U', 'F', '1'};

struct Fixed {
    std::array<char, 8> magic;
    std::uint64_t pts;
    std::uint64_t dts;
    std::uint64_t duration;
    std::uint32_t flags;
    std::uint32_t capsSize;
    std::uint64_t reserved;
};
static_assert(sizeof(Fixed) == 48);

}  // namespace

std::string encodeHead(const FrameHead& head) {
    const Fixed fixed{.magic = magic,
                      .pts = head.pts,
                      .dts = head.dts,
                      .duration = head.duration,
                      .flags = head.flags,
                      .capsSize = static_cast<std::uint32_t>(head.caps.size()),
                      .reserved = 0};
    std::string bytes(sizeof fixed, '\0');
    std::memcpy(bytes.data(), &fixed, sizeof fixed);
    return bytes + head.caps;
}

std::optional<DecodedFrame> decodeFrame(std::string_view frame) {
    Fixed fixed{};
    if (frame.size() < sizeof fixed) {
        return std::nullopt;
    }
    std::memcpy(&fixed, frame.data(), sizeof fixed);
    frame.remove_prefix(sizeof fixed);
    if (fixed.magic != magic || fixed.capsSize > frame.size()) {
        return std::nullopt;
    }
    return DecodedFrame{.head = {.pts = fixed.pts,
                                 .dts = fixed.dts,
                                 .duration = fixed.duration,
                                 .flags = fixed.flags,
                                 .caps = std::string(frame.substr(0, fixed.capsSize))},
                        .bytes = frame.substr(fixed.capsSize)};
}

}  // namespace tarn::peers::storage_elements
