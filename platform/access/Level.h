#pragma once

#include <optional>
#include <string_view>

#include "platform/os/PeerUser.h"

namespace tarn::access {

/// What somebody may do: each level all that the ones before it may.
enum class Level {
    None,
    Read,     ///< info, lists, tree, events, status
    Operate,  ///< submit and stop jobs, change the capture format and tracks' properties
    Admin,    ///< engines, persistent jobs, creating and destroying tracks, other users' jobs, keys
};

/// "none", "read", "operate", "admin".
std::string_view nameOf(Level level);
std::optional<Level> levelNamed(std::string_view name);

/// Whether it is root, or this process's own user.
bool isTrusted(const os::PeerUser& user);

/// Who is trusted is admin; others have the level of the groups that they are in: tarn-read,
/// tarn-operate, tarn-admin. A group that is not in this machine's own file of groups gives nobody
/// anything. Any thread.
Level levelOf(const os::PeerUser& user);

}  // namespace tarn::access
