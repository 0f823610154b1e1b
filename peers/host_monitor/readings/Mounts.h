#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarn::peers::host_monitor {

struct Mount {
    std::string source;
    std::string point;  ///< an absolute path
    std::string type;
};

/// From the text of /proc/self/mounts, in its order; escapes are resolved, broken lines left out.
std::vector<Mount> parseMounts(std::string_view text);

/// The mounts to be watched, sorted by mount point: disks of this machine, each once, where it is
/// mounted highest. Asking a network file system for its space can hang for ever, so they are left
/// out, and so is whatever is mounted below one.
std::vector<Mount> localDisks(const std::vector<Mount>& mounts);

}  // namespace tarn::peers::host_monitor
