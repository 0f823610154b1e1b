#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace tarn::peers::loop_storage {

using Properties = std::map<std::string, std::string>;

/// Throws StorageError, of type ARGUMENT, for longer names and values than a track keeps, and for
/// more of them than a file that can be read again.
void checkProperties(const Properties& properties);

/// A file that is not there is an empty list. Throws StorageError for one that is damaged.
Properties readProperties(const std::filesystem::path& path);

/// On the disk, whole, when it returns. Throws std::system_error.
void writeProperties(const std::filesystem::path& path, const Properties& properties);

}  // namespace tarn::peers::loop_storage
