#include "platform/access/Level.h"

#include <unistd.h>

#include <algorithm>
#include <array>

#include "platform/access/LevelGroups.h"
#include "platform/os/GroupFile.h"

namespace tarn::access {

namespace {

constexpr std::array<std::string_view, 4> names{"none", "read", "operate", "admin"};

// Never destroyed: requests may still be answered while static objects are.
LevelGroups& groupsOfThisMachine() {
    static auto* const groups = new LevelGroups(os::groupFile);
    return *groups;
}

}  // namespace

std::string_view nameOf(Level level) {
    return names.at(static_cast<std::size_t>(level));
}

std::optional<Level> levelNamed(std::string_view name) {
    const auto found = std::ranges::find(names, name);
    return found == names.end() ? std::nullopt
                                : std::optional(static_cast<Level>(found - names.begin()));
}

bool isTrusted(const os::PeerUser& user) {
    return user.user == 0 || user.user == ::geteuid();
}

Level levelOf(const os::PeerUser& user) {
    return isTrusted(user) ? Level::Admin : groupsOfThisMachine().levelOf(user);
}

}  // namespace tarn::access
