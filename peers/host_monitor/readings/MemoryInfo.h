#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tarn::peers::host_monitor {

/// In bytes.
struct MemoryInfo {
    std::uint64_t total = 0;
    std::uint64_t available = 0;  ///< at most the total
};

/// From the text of /proc/meminfo; nothing when it does not tell both.
std::optional<MemoryInfo> parseMemoryInfo(std::string_view text);

}  // namespace tarn::peers::host_monitor
