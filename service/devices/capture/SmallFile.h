#pragma once

#include <optional>
#include <string>

namespace tarn::service::devices {

/// What a small file holds; nothing when it cannot be opened. Throws std::length_error for one of
/// more than a MiB, which is none.
std::optional<std::string> readSmallFile(const std::string& path);

}  // namespace tarn::service::devices
