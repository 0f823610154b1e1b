#include "peers/host_monitor/readings/DiskSpace.h"

#include <sys/statvfs.h>

#include <algorithm>

#include "peers/host_monitor/readings/Rounding.h"

namespace tarn::peers::host_monitor {

double DiskSpace::usedPercent() const {
    return percentOf(static_cast<double>(used),
                     static_cast<double>(used) + static_cast<double>(free));
}

std::optional<DiskSpace> readDiskSpace(const std::filesystem::path& path) {
    struct statvfs values {};
    if (::statvfs(path.c_str(), &values) != 0 || values.f_blocks == 0) {
        return std::nullopt;
    }
    const std::uint64_t unit = values.f_frsize;
    const std::uint64_t unused = std::min(values.f_bfree, values.f_blocks);
    return DiskSpace{.size = values.f_blocks * unit,
                     .used = (values.f_blocks - unused) * unit,
                     .free = std::min(values.f_bavail, unused) * unit};
}

}  // namespace tarn::peers::host_monitor
