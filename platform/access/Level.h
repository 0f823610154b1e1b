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

/// root and this process's own user are admin; others have the level of the groups that they are
/// in: tarn-read, tarn-operate, tarn-admin. A group that is not on the machine gives nobody
/// anything. Looks into the group data base; any thread.
Level levelOf(const os::PeerUser& user);

}  // namespace tarn::access
