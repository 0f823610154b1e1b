#include "service/devices/capture/SmallFile.h"

#include <fstream>
#include <stdexcept>

namespace tarn::service::devices {

std::optional<std::string> readSmallFile(const std::string& path) {
    constexpr std::streamsize largest = 1 << 20;
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    std::string content(static_cast<std::size_t>(largest) + 1, '\0');
    file.read(content.data(), largest + 1);
    content.resize(static_cast<std::size_t>(file.gcount()));
    if (file.gcount() > largest) {
        throw std::length_error("it is larger than a capture format can be");
    }
    return content;
}

}  // namespace tarn::service::devices
