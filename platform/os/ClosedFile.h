#pragma once

#include <sys/types.h>

#include <string>

#include "platform/os/FileDescriptor.h"

namespace tarn::os {

// State and logs are nobody's but their owner's and his group's. They are made so, whatever the
// umask: a file that is open to others for a moment has been open. What an older version left open
// is closed when it is used again.

/// What logs and state may be at most: written by the owner, read by the group.
inline constexpr mode_t closedFile = 0640;
/// For secrets, and for what is locked: who can open a file, even for reading, can hold its lock.
inline constexpr mode_t privateFile = 0600;
inline constexpr mode_t closedFolder = 0750;

/// Opens a file with the flags (O_CREAT | O_CLOEXEC | O_NOFOLLOW are added), and takes away what
/// its mode gives beyond `mode` where the file is this user's. Closed, with errno, when it cannot
/// be opened.
FileDescriptor openClosed(const std::string& path, int flags, mode_t mode = closedFile);

/// Takes away from a file or folder of this user's what its mode gives beyond `mode`. Others',
/// links, and what is not there are left alone. Does not throw and does not wait.
void closeToOthers(const std::string& path, mode_t mode);

/// Makes the folder and those above it that are missing, each with `closedFolder` as its mode. One
/// that is there is left as it is. False with errno when it cannot be made.
bool makeClosedFolders(const std::string& path);

}  // namespace tarn::os
