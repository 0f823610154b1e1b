#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "platform/os/FileDescriptor.h"

namespace tarn::os {

/// What a file holds, its first `most` bytes at most; nothing when it cannot be opened or read.
/// Also for the files of the kernel, whose size is not known before. Never waits, not for the
/// writer of a pipe either.
std::optional<std::string> readBeginning(const std::string& path, std::size_t most);

/// The same, and all of it: throws std::length_error for a file of more than `most` bytes.
std::optional<std::string> readWhole(const std::string& path, std::size_t most);

/// The same of a file that is open, from where its reader stands.
std::optional<std::string> readWhole(const FileDescriptor& file, std::size_t most);

}  // namespace tarn::os
