#pragma once

#include <array>

namespace tarn::peers::loop_storage {

/// Which start of the machine this is: files that were written since then are as they were written,
/// synced or not. Never all zeros.
using BootId = std::array<char, 16>;

/// Throws std::system_error when the system does not tell.
BootId readBootId();

}  // namespace tarn::peers::loop_storage
