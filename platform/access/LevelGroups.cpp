#include "platform/access/LevelGroups.h"

#include <sys/stat.h>

#include <algorithm>

#include "platform/os/GroupFile.h"

namespace tarn::access {

namespace {

bool isIn(const os::PeerUser& user, gid_t group) {
    return user.group == group || std::ranges::find(user.groups, group) != user.groups.end();
}

}  // namespace

LevelGroups::State LevelGroups::stateNow() const {
    struct stat now {};
    if (::stat(file.c_str(), &now) != 0) {
        return {};
    }
    return {now.st_ino, now.st_size, now.st_mtim.tv_sec, now.st_mtim.tv_nsec};
}

void LevelGroups::read(Known& next) const {
    std::ranges::transform(levelGroups, next.ids.begin(),
                           [&](const auto& group) { return os::groupIdOf(group.name, file); });
}

// The state is taken before the file is read: what changes in between is read once more.
Level LevelGroups::levelOf(const os::PeerUser& user) {
    const auto now = stateNow();
    auto groups = known.lock();
    if (now == State{} || groups->state != now) {
        groups->state = now;
        read(*groups);
    }
    for (std::size_t i = 0; i < levelGroups.size(); ++i) {
        if (groups->ids[i] && isIn(user, *groups->ids[i])) {
            return levelGroups[i].level;
        }
    }
    return Level::None;
}

}  // namespace tarn::access
