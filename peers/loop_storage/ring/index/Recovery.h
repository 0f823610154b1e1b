#pragma once

#include <cstdint>
#include <vector>

#include "peers/loop_storage/disk/DiskFile.h"
#include "peers/loop_storage/ring/index/IndexFile.h"

namespace tarn::peers::loop_storage {

/// Decides what of an index is true of its data file, and changes the content to that.
///
/// After a stop of the machine within the writing (Doubtful): frames that were on the disk at the
/// last checkpoint are there unless the ring may have gone over them since; those, and the frames
/// after the checkpoint, are there if their bytes are, the latter as an unbroken run.
///
/// Frames at the end of a data file that has been cut are not; the file gets its size again.
///
/// Returns the sequence numbers of the records that must go from the index before anything else is
/// written. Throws std::system_error.
std::vector<std::uint64_t> settle(IndexContent& content, const DiskFile& data);

/// Only what follows from a stop of the machine; changes nothing but the content.
std::vector<std::uint64_t> settleDoubts(IndexContent& content, const DiskFile& data);

}  // namespace tarn::peers::loop_storage
