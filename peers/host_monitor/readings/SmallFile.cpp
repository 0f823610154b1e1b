#include "peers/host_monitor/readings/SmallFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <system_error>

#include "peers/host_monitor/readings/Text.h"
#include "platform/os/FileDescriptor.h"

namespace tarn::peers::host_monitor {

namespace {

constexpr std::size_t largest = 4U << 20U;

}  // namespace

// Not waiting is for what should not be there: a pipe without a writer.
std::optional<std::string> readSmallFile(const std::filesystem::path& path) {
    const os::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.isOpen()) {
        return std::nullopt;
    }
    std::string content;
    std::array<char, 16384> chunk{};
    while (content.size() < largest) {
        const auto count = ::read(file.get(), chunk.data(), chunk.size());
        if (count < 0) {
            return std::nullopt;
        }
        if (count == 0) {
            break;
        }
        content.append(chunk.data(), static_cast<std::size_t>(count));
    }
    return content;
}

std::optional<std::string> readWord(const std::filesystem::path& path) {
    const auto content = readSmallFile(path);
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
