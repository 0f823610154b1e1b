#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace tarn::cell {

/// A user of this machine, as it is to be become.
struct Account {
    uid_t user;
    gid_t group;
    std::vector<gid_t> groups;
};

/// Nothing where there is no such user.
std::optional<Account> accountOf(const std::string& user);

/// For the whole process and for good. False, with errno, where that is not allowed.
bool become(const Account& account);

/// No program that is started from now on has more rights than its caller, whatever its file says.
bool giveUpNewPrivileges();

/// What no program that is started can get back: all of them, where the caller may decide that.
/// Before the user is changed.
void limitCapabilities();

/// None is left to the calling thread. False, with errno.
bool dropCapabilities();

}  // namespace tarn::cell
