#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace tarn::peers::host_monitor {

/// In bytes.
struct DiskSpace {
    std::uint64_t size = 0;
    std::uint64_t used = 0;
    std::uint64_t free = 0;  ///< for anybody: without what is kept for the administrator

    /// Of what anybody can use, in percent and tenths.
    double usedPercent() const;
};

/// Of the file system at `path`; nothing when it does not tell. Only for file systems that answer
/// at once.
std::optional<DiskSpace> readDiskSpace(const std::filesystem::path& path);

}  // namespace tarn::peers::host_monitor
