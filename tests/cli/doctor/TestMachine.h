#pragma once

#include <map>
#include <string>
#include <vector>

#include "cli/doctor/Finding.h"
#include "cli/doctor/Machine.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::cli {

/// A machine in a folder, on which nothing is wrong that a check could find.
class TestMachine {
  public:
    TestMachine();

    /// A file below its root, with its folders.
    void write(const std::string& path, const std::string& content) const;
    std::filesystem::path make(const std::string& folder, std::filesystem::perms mode) const;

    /// What programs write, by the first argument; those that are not here cannot be run.
    std::map<std::string, ProgramEnd> programs;
    std::vector<std::vector<std::string>> ran;
    Space left{.available = 50, .total = 100, .freeFiles = 50, .allFiles = 100};

    const test::TemporaryFolder folder;
    Machine machine;
};

/// "error users: there is no user tarn" and so on, without remedies, which must be there.
std::vector<std::string> textsOf(const Findings& findings);

}  // namespace tarn::cli
