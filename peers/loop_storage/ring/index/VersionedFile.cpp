#include "peers/loop_storage/ring/index/VersionedFile.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "peers/loop_storage/StorageError.h"
#include "platform/storage_wire/Checksum.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr unsigned version = 2;

std::string headFor(const std::string& name, std::string_view content) {
    std::array<char, 9> sum{};
    std::snprintf(sum.data(), sum.size(), "%08x",
                  storage_wire::checksum(content.data(), content.size()));
    return name + " " + std::to_string(version) + " " + sum.data() + "\n";
}

unsigned versionIn(std::string_view text) {
    unsigned number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

}  // namespace

std::string withHead(const std::string& name, const std::string& content) {
    return headFor(name, content) + content;
}

std::optional<std::string> withoutHead(const std::string& name, const std::string& file,
                                       const std::string& path) {
    if (!file.starts_with(name + " ")) {
        return std::nullopt;
    }
    const auto found = versionIn(std::string_view(file).substr(name.size() + 1));
    if (found > version) {
        throw UnknownVersion(path + " is of version " + std::to_string(found) +
                             ", and this server knows those up to " + std::to_string(version));
    }
    const auto end = file.find('\n');
    const auto content = end == std::string::npos ? std::string() : file.substr(end + 1);
    if (!file.starts_with(headFor(name, content))) {
        throw StorageError(TARN_STORAGE_ERROR_SERVER, path + " is damaged");
    }
    return content;
}

}  // namespace tarn::peers::loop_storage
