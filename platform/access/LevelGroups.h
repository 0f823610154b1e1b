#pragma once

#include <sys/types.h>

#include <array>
#include <ctime>
#include <optional>
#include <string>

#include "platform/access/Level.h"
#include "platform/socket/Audience.h"
#include "platform/utils/Synchronised.h"

namespace tarn::access {

/// A level, and the group of the machine whose members have it.
struct LevelGroup {
    Level level;
    const char* name;
};

/// Highest first. Members of the higher ones have to be in the lowest one too, which the sockets'
/// files belong to.
inline constexpr std::array<LevelGroup, 3> levelGroups{{
    {Level::Admin, "tarn-admin"},
    {Level::Operate, "tarn-operate"},
    {Level::Read, socket::groupOfClients},
}};

/// Who is in these groups, by a file of groups, which is read again when it has changed. Any
/// thread.
class LevelGroups {
  public:
    explicit LevelGroups(std::string file) : file(std::move(file)) {}

    /// By his groups alone. A group that is not there gives nobody anything.
    Level levelOf(const os::PeerUser& user);

  private:
    /// What tells one state of the file from another.
    struct State {
        ino_t inode = 0;
        off_t size = 0;
        std::time_t seconds = 0;
        long nanoseconds = 0;
        bool operator==(const State&) const = default;
    };
    struct Known {
        State state = {};
        std::array<std::optional<gid_t>, levelGroups.size()> ids = {};
    };

    State stateNow() const;
    void read(Known& known) const;

    const std::string file;
    utils::Synchronised<Known> known;
};

}  // namespace tarn::access
