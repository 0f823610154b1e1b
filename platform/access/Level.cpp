#include "platform/access/Level.h"

#include <grp.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <vector>

namespace tarn::access {

namespace {

constexpr std::array<std::string_view, 4> names{"none", "read", "operate", "admin"};

struct GroupLevel {
    const char* group;
    Level level;
};
constexpr std::array<GroupLevel, 3> groupLevels{{
    {"tarn-admin", Level::Admin},
    {"tarn-operate", Level::Operate},
    {"tarn-read", Level::Read},
}};

std::optional<gid_t> groupNamed(const char* name) {
    std::vector<char> buffer(4096);
    group entry{};
    group* found = nullptr;
    while (::getgrnam_r(name, &entry, buffer.data(), buffer.size(), &found) == ERANGE) {
        buffer.resize(buffer.size() * 2);  // a group of many members
    }
    return found == nullptr ? std::nullopt : std::optional(found->gr_gid);
}

bool isIn(const os::PeerUser& user, gid_t group) {
    return user.group == group || std::ranges::find(user.groups, group) != user.groups.end();
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

Level levelOf(const os::PeerUser& user) {
    if (user.user == 0 || user.user == ::geteuid()) {
        return Level::Admin;
    }
    for (const auto& [name, level] : groupLevels) {
        const auto group = groupNamed(name);
        if (group && isIn(user, *group)) {
            return level;
        }
    }
    return Level::None;
}

}  // namespace tarn::access
