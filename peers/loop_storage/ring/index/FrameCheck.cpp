#include "peers/loop_storage/ring/index/FrameCheck.h"

#include <algorithm>
#include <system_error>
#include <vector>

#include "peers/loop_storage/ring/TrackFiles.h"
#include "platform/storage_wire/Checksum.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr std::uint64_t readAtOnce = 1U << 20U;

std::uint32_t checksumOf(const FrameInfo& frame, const DiskFile& data, std::uint64_t ringSize) {
    std::vector<char> bytes(static_cast<std::size_t>(std::min(frame.size, readAtOnce)));
    std::uint32_t sum = 0;
    for (std::uint64_t done = 0; done < frame.size;) {
        const auto size = static_cast<std::size_t>(std::min(frame.size - done, readAtOnce));
        readRing(data, ringSize, frame.position + done, bytes.data(), size);
        sum = storage_wire::checksum(bytes.data(), size, sum);
        done += size;
    }
    return sum;
}

}  // namespace

FrameCheck checkFrame(const FrameInfo& frame, const DiskFile& data, std::uint64_t ringSize) {
    if (!frame.checksum) {
        return FrameCheck::WithoutChecksum;
    }
    try {
        return checksumOf(frame, data, ringSize) == *frame.checksum ? FrameCheck::Whole
                                                                    : FrameCheck::Damaged;
    } catch (const std::system_error&) {
        return FrameCheck::Unreadable;
    }
}

}  // namespace tarn::peers::loop_storage
