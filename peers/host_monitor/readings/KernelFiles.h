#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tarn::peers::host_monitor {

/// The content, at most its first 4 MiB; nothing when it cannot be read. For files of the kernel,
/// whose size is not known before.
std::optional<std::string> readKernelFile(const std::filesystem::path& path);

/// The content without blanks around it; nothing when it cannot be read.
std::optional<std::string> readWord(const std::filesystem::path& path);

/// The names in a folder, sorted; none when it cannot be read.
std::vector<std::string> namesIn(const std::filesystem::path& folder);

}  // namespace tarn::peers::host_monitor
