#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace tarn::test {

/// Another user of this machine, as an attacker or a colleague is. The number need not be in the
/// user data base.
struct OtherUser {
    uid_t user = 61001;
    gid_t group = 61001;
    std::vector<gid_t> groups = {};  ///< supplementary ones
};

/// Whether this process may become others: root, with more than one user in its namespace. Tests
/// that need another user skip where it may not.
bool canBeOthers();

/// Does the work as that user, in a copy of this process that ends with it; whether it returned
/// true. What it throws, and being killed, counts as false. Make it before any thread exists.
bool doneAs(const OtherUser& user, const std::function<bool()>& work);

/// The command as that user runs it: without capabilities, and with no way to new ones.
std::vector<std::string> commandAs(const OtherUser& user, std::vector<std::string> command);

}  // namespace tarn::test
