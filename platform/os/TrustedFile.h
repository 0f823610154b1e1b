#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>

namespace tarn::os {

// State that a program believes is of its own making, or an administrator's: of root, of this
// process's own user, or of the user that the services run as. In a folder that others may write
// in, anybody may be first with a file, a link or a folder of the name.

/// Why what belongs to that user is not to be believed: "it belongs to user mallory (1001), ...";
/// nothing when it is. Any thread.
std::optional<std::string> whyNotOurs(uid_t owner);

/// Throws std::runtime_error with that reason for a file, a folder or a link that is not ours, and
/// for a link to what is not. Nothing is wrong with what is not there.
void checkIsOurs(const std::string& path);

/// What a file of ours holds; nothing, with errno, when it cannot be opened or read. Throws
/// std::runtime_error for one that is not ours, or no file, and std::length_error for one of more
/// than `most` bytes. Never waits. What is looked at is what is read, whoever replaces it
/// meanwhile.
std::optional<std::string> readOurs(const std::string& path, std::size_t most);

}  // namespace tarn::os
