#include "cli/access/LevelMembers.h"

#include <fmt/format.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>
#include <vector>

#include "cli/CommandError.h"
#include "platform/access/LevelGroups.h"
#include "platform/os/GroupFile.h"
#include "platform/os/SmallFile.h"
#include "platform/os/Subprocess.h"

namespace tarn::cli {

using access::Level;
using access::levelGroups;

namespace {

// It changes both files of groups under their lock, and knows users that no file of this machine
// names.
constexpr auto groupTool = "/usr/bin/gpasswd";
constexpr auto longestChange = std::chrono::seconds(20);
constexpr std::size_t mostOutput = 4096;

[[noreturn]] void giveUp(const std::string& text) {
    throw CommandError(ExitStatus::Failed, text);
}

void checkUser(const std::string& user) {
    if (::getpwnam(user.c_str()) == nullptr) {
        giveUp(fmt::format("this machine knows no user \"{}\"", user));
    }
}

// The group of the lowest level is that of the sockets: everybody needs it.
std::vector<std::string> groupsOf(Level level) {
    std::vector<std::string> groups;
    for (const auto& group : levelGroups) {
        if (group.level == level || group.level == Level::Read) {
            groups.emplace_back(group.name);
        }
    }
    return groups;
}

void checkGroup(const std::string& group) {
    if (!os::groupIdOf(group)) {
        giveUp(
            fmt::format("this machine has no group {}: the package halden-tarn-service makes it, "
                        "or \"groupadd --system {}\"",
                        group, group));
    }
}

void checkIsRoot() {
    if (::geteuid() != 0) {
        giveUp("levels are given and taken by root: try again with sudo");
    }
}

// Without a shell. What it writes is shown only when it fails.
void changeGroup(const char* action, const std::string& user, const std::string& group) {
    try {
        const auto output =
            os::checkedDescriptor(::memfd_create("gpasswd", MFD_CLOEXEC), "cannot keep its output");
        os::Subprocess tool(
            {.arguments = {groupTool, action, user, group}, .output = output.get()});
        const auto status = tool.waitForEnd(longestChange);
        if (!status || !WIFEXITED(*status) || WEXITSTATUS(*status) != 0) {
            const auto said =
                os::readBeginning(fmt::format("/proc/self/fd/{}", output.get()), mostOutput);
            giveUp(fmt::format("{} {} {} {} failed: {}", groupTool, action, user, group,
                               said.value_or("")));
        }
    } catch (const std::system_error& e) {
        giveUp(fmt::format("{} cannot be run: {}", groupTool, e.what()));
    }
}

bool isMember(const std::string& user, const std::string& group) {
    const auto members = os::groupMembersOf(group);
    return std::ranges::find(members, user) != members.end();
}

}  // namespace

std::map<std::string, Level> levelMembers() {
    std::map<std::string, Level> levels;
    for (const auto& group : levelGroups) {
        for (const auto& member : os::groupMembersOf(group.name)) {
            levels.emplace(member, group.level);  // the highest comes first
        }
    }
    return levels;
}

Level levelOfUser(const std::string& user) {
    checkUser(user);
    const auto levels = levelMembers();
    const auto found = levels.find(user);
    return found == levels.end() ? Level::None : found->second;
}

void addToLevel(const std::string& user, Level level) {
    checkUser(user);
    checkIsRoot();
    const auto groups = groupsOf(level);
    std::ranges::for_each(groups, checkGroup);  // all or none
    for (const auto& group : groups) {
        changeGroup("--add", user, group);
    }
}

void removeFromLevel(const std::string& user, Level level) {
    checkUser(user);
    checkIsRoot();
    for (const auto& group : levelGroups) {
        if (group.level >= level && isMember(user, group.name)) {
            changeGroup("--delete", user, group.name);
        }
    }
}

}  // namespace tarn::cli
