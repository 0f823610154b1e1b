#include "platform/os/SmallFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>

namespace tarn::os {

namespace {

std::optional<std::string> readFrom(const FileDescriptor& file, std::size_t most) {
    std::string content;
    std::array<char, 16384> chunk{};
    while (content.size() < most) {
        const auto count =
            ::read(file.get(), chunk.data(), std::min(chunk.size(), most - content.size()));
        if (count < 0 && errno != EINTR) {
            return std::nullopt;
        }
        if (count == 0) {
            break;
        }
        content.append(chunk.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return content;
}

void checkSize(const std::optional<std::string>& content, std::size_t most) {
    if (content && content->size() > most) {
        throw std::length_error("it has more than " + std::to_string(most) + " bytes");
    }
}

}  // namespace

std::optional<std::string> readBeginning(const std::string& path, std::size_t most) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    return file.isOpen() ? readFrom(file, most) : std::nullopt;
}

std::optional<std::string> readWhole(const std::string& path, std::size_t most) {
    auto content = readBeginning(path, most + 1);
    checkSize(content, most);
    return content;
}

std::optional<std::string> readWhole(const FileDescriptor& file, std::size_t most) {
    auto content = readFrom(file, most + 1);
    checkSize(content, most);
    return content;
}

}  // namespace tarn::os
