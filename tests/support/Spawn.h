#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace tarn::test {

/// Variables that are added to this process's own.
using Environment = std::map<std::string, std::string>;

/// Where a program's outputs go.
struct OutputDescriptors {
    int out = -1;  ///< -1: where this process's own goes
    int err = -1;
};

/// Starts a program with default signal handling and an empty input; a name without a slash is
/// looked up in PATH. The caller reaps it. Throws std::system_error when it cannot be started.
pid_t spawn(const std::vector<std::string>& command, const OutputDescriptors& outputs = {},
            const Environment& environment = {});

/// The path of one of the programs that were built with this test.
std::string builtProgram(const std::string& name);

}  // namespace tarn::test
