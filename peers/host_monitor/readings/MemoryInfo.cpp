#include "peers/host_monitor/readings/MemoryInfo.h"

#include <algorithm>
#include <limits>

#include "peers/host_monitor/readings/Text.h"

namespace tarn::peers::host_monitor {

namespace {

constexpr std::uint64_t bytesPerUnit = 1024;  // "kB", as the kernel means it

std::optional<std::uint64_t> valueOf(std::string_view text, std::string_view label) {
    for (const auto line : linesOf(text)) {
        const auto words = wordsOf(line);
        if (words.size() >= 2 && words[0] == label) {
            const auto value = toUnsigned(words[1]);
            const bool fits =
                value && *value <= std::numeric_limits<std::uint64_t>::max() / bytesPerUnit;
            return fits ? std::optional(*value * bytesPerUnit) : std::nullopt;
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<MemoryInfo> parseMemoryInfo(std::string_view text) {
    const auto total = valueOf(text, "MemTotal:");
    const auto available = valueOf(text, "MemAvailable:");
    if (!total || !available || *total == 0) {
        return std::nullopt;
    }
    return MemoryInfo{.total = *total, .available = std::min(*available, *total)};
}

}  // namespace tarn::peers::host_monitor
