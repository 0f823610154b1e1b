#include "tests/support/OtherUser.h"

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>

namespace tarn::test {

namespace {

bool become(const OtherUser& other) {
    return ::setgroups(other.groups.size(), other.groups.data()) == 0 &&
           ::setresgid(other.group, other.group, other.group) == 0 &&
           ::setresuid(other.user, other.user, other.user) == 0;
}

[[noreturn]] void doAndExit(const OtherUser& other, const std::function<bool()>& work) {
    bool isDone = false;
    try {
        isDone = become(other) && work();
    } catch (...) {
    }
    ::_exit(isDone ? 0 : 1);
}

std::string listed(const std::vector<gid_t>& groups) {
    std::string list;
    for (const auto group : groups) {
        list += (list.empty() ? "" : ",") + std::to_string(group);
    }
    return list;
}

}  // namespace

bool canBeOthers() {
    long first = 0;
    long outside = 0;
    long count = 0;
    std::ifstream("/proc/self/uid_map") >> first >> outside >> count;
    return ::geteuid() == 0 && count > OtherUser().user;
}

bool doneAs(const OtherUser& user, const std::function<bool()>& work) {
    const auto child = ::fork();
    if (child == 0) {
        doAndExit(user, work);
    }
    int status = 0;
    while (child > 0 && ::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return child > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::vector<std::string> commandAs(const OtherUser& user, std::vector<std::string> command) {
    std::vector<std::string> all{
        "setpriv",
        "--reuid=" + std::to_string(user.user),
        "--regid=" + std::to_string(user.group),
        user.groups.empty() ? "--clear-groups" : "--groups=" + listed(user.groups),
        "--no-new-privs",
        "--inh-caps=-all"};
    std::ranges::move(command, std::back_inserter(all));
    return all;
}

}  // namespace tarn::test
