#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "cli/doctor/Machine.h"

namespace tarn::cli {

/// A process of the media server.
struct ServerProcess {
    pid_t id = 0;
    std::string name;        ///< of its program, as the kernel has it: 15 bytes at most
    std::string executable;  ///< empty: this user may not see it
};

/// Those that run now, by their ids.
std::vector<ServerProcess> serverProcesses(const Machine& machine);

}  // namespace tarn::cli
