#pragma once

#include <optional>
#include <stdexcept>
#include <string>

namespace tarn::peers::loop_storage {

/// A file is newer than this server, which leaves it as it is.
class UnknownVersion : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The content of a small file behind a line that says what it is: its name, the version of its
/// format (2: those of version 1 had no such line) and the content's checksum.
std::string withHead(const std::string& name, const std::string& content);

/// The content without that line; nothing for a file of version 1. `path` is for messages. Throws
/// StorageError when it is damaged, and UnknownVersion.
std::optional<std::string> withoutHead(const std::string& name, const std::string& file,
                                       const std::string& path);

}  // namespace tarn::peers::loop_storage
