#pragma once

#include <cstdint>

#include "peers/loop_storage/disk/DiskFile.h"
#include "peers/loop_storage/ring/index/FrameInfo.h"

namespace tarn::peers::loop_storage {

/// What a frame's bytes on the disk say of it.
enum class FrameCheck { Whole, Damaged, Unreadable, WithoutChecksum };

/// Reads the frame, a piece at a time.
FrameCheck checkFrame(const FrameInfo& frame, const DiskFile& data, std::uint64_t ringSize);

}  // namespace tarn::peers::loop_storage
