#pragma once

#include <filesystem>
#include <ostream>

#include "peers/loop_storage/ring/BootId.h"

namespace tarn::peers::loop_storage {

/// Reads every frame of the tracks in a directory, or of the track whose folder it is, and compares
/// it with its checksum. What is found goes to `out`, a line for a track and one for each frame
/// that is not whole. Changes nothing. True when all is well.
///
/// Throws std::runtime_error when a server uses the directory or there is no track in it,
/// std::system_error when it cannot be read.
bool verify(const std::filesystem::path& folder, const BootId& boot, std::ostream& out);

}  // namespace tarn::peers::loop_storage
