#include "peers/loop_storage/ring/PropertyFile.h"

#include <cstdint>

#include "peers/loop_storage/StorageError.h"
#include "peers/loop_storage/disk/DiskFile.h"
#include "peers/loop_storage/ring/index/VersionedFile.h"
#include "platform/storage_wire/Checksum.h"
#include "platform/utils/Printable.h"
#include "proto/storage_wire.pb.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr auto fileName = "properties";
constexpr std::size_t longestName = 256;
constexpr std::size_t longestValue = 64U << 10U;
// What is not larger is written, and read again.
constexpr std::size_t largestFile = 512U << 10U;
constexpr std::size_t checksumSize = sizeof(std::uint32_t);

[[noreturn]] void refuse(const std::string& message) {
    throw StorageError(TARN_STORAGE_ERROR_ARGUMENT, message);
}

void checkName(const std::string& name) {
    if (name.empty() || name.size() > longestName || name.find('\0') != std::string::npos) {
        refuse("A property's name has 1 to " + std::to_string(longestName) +
               " bytes and no zero among them, not " + std::to_string(name.size()) + ": " +
               utils::quotedText(name));
    }
}

void checkValue(const std::string& name, const std::string& value) {
    if (value.size() > longestValue || value.find('\0') != std::string::npos) {
        refuse("The value of property " + utils::quotedText(name) + " has " +
               std::to_string(value.size()) + " bytes: at most " + std::to_string(longestValue) +
               ", and no zero among them");
    }
}

std::string contentOf(const Properties& properties) {
    proto::storage_wire::Track track;
    for (const auto& [name, value] : properties) {
        auto* const property = track.add_property();
        property->set_name(name);
        property->set_value(value);
    }
    return withHead(fileName, track.SerializeAsString());
}

// What stands behind its checksum.
std::string firstVersionsContent(const std::string& file, const std::filesystem::path& path) {
    std::uint32_t sum = 0;
    file.copy(static_cast<char*>(static_cast<void*>(&sum)), checksumSize);
    if (file.size() < checksumSize ||
        sum != storage_wire::checksum(file.data() + checksumSize, file.size() - checksumSize)) {
        throw StorageError(TARN_STORAGE_ERROR_SERVER, path.string() + " is damaged");
    }
    return file.substr(checksumSize);
}

}  // namespace

void checkProperties(const Properties& properties) {
    for (const auto& [name, value] : properties) {
        checkName(name);
        checkValue(name, value);
    }
    const auto size = contentOf(properties).size();
    if (size > largestFile) {
        refuse("The track's properties would take a file of " + std::to_string(size) +
               " bytes: at most " + std::to_string(largestFile));
    }
}

Properties readProperties(const std::filesystem::path& path) {
    Properties properties;
    if (!std::filesystem::exists(path)) {
        return properties;
    }
    if (std::filesystem::file_size(path) > largestFile) {
        throw StorageError(TARN_STORAGE_ERROR_SERVER, path.string() + " is too large");
    }
    const auto file = readSmallFile(path, largestFile);
    const auto content = withoutHead(fileName, file, path.string());
    proto::storage_wire::Track track;
    if (!track.ParseFromString(content ? *content : firstVersionsContent(file, path))) {
        throw StorageError(TARN_STORAGE_ERROR_SERVER, path.string() + " is damaged");
    }
    for (const auto& property : track.property()) {
        properties[property.name()] = property.value();
    }
    return properties;
}

void writeProperties(const std::filesystem::path& path, const Properties& properties) {
    replaceFile(path, contentOf(properties));
}

}  // namespace tarn::peers::loop_storage
