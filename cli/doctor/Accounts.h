#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <set>
#include <string>

#include "cli/doctor/Machine.h"

namespace tarn::cli {

/// The users and groups that the machine's own files name; those of a directory on the network are
/// none of a package's.
class Accounts {
  public:
    explicit Accounts(const Machine& machine);

    std::optional<uid_t> user(const std::string& name) const;
    bool hasGroup(const std::string& name) const { return groups.contains(name); }
    bool isMember(const std::string& user, const std::string& group) const;

    /// "tarn", or "1001" where nobody is named so.
    std::string nameOf(uid_t user) const;

  private:
    std::map<std::string, uid_t> users;
    std::map<std::string, std::set<std::string>> groups;
};

}  // namespace tarn::cli
