#pragma once

#include <map>
#include <string>

#include "platform/access/Level.h"

namespace tarn::cli {

/// The users of this machine who are in the groups that give levels, each with his highest one.
std::map<std::string, access::Level> levelMembers();

/// The level that a user's groups give him. CommandError when this machine knows no such user.
access::Level levelOfUser(const std::string& user);

/// Puts a user into the groups of the level. CommandError with what is missing: root's rights, the
/// groups, or what the system's own tool said.
void addToLevel(const std::string& user, access::Level level);

/// Takes him out of the groups of the level and of those above it.
void removeFromLevel(const std::string& user, access::Level level);

}  // namespace tarn::cli
