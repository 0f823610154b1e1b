#include "peers/host_monitor/readings/KernelFiles.h"

#include <algorithm>
#include <system_error>

#include "peers/host_monitor/readings/Text.h"
#include "platform/os/SmallFile.h"

namespace tarn::peers::host_monitor {

namespace {

constexpr std::size_t largest = 4U << 20U;

}  // namespace

std::optional<std::string> readKernelFile(const std::filesystem::path& path) {
    return os::readBeginning(path.string(), largest);
}

std::optional<std::string> readWord(const std::filesystem::path& path) {
    const auto content = readKernelFile(path);
    return content ? std::optional(std::string(trimmed(*content))) : std::nullopt;
}

std::vector<std::string> namesIn(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entry(folder, error);
    while (!error && entry != std::filesystem::directory_iterator()) {
        names.push_back(entry->path().filename().string());
        entry.increment(error);
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace tarn::peers::host_monitor
