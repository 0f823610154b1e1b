#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace tarn::test {

struct OtherProcess {
    pid_t id = 0;
    pid_t parent = 0;
    char state = 0;       ///< 'Z' is dead and waits to be reaped
    std::string command;  ///< words separated by blanks
};

/// Every process of the private process tree but its first one and this one.
std::vector<OtherProcess> otherProcesses();

/// The living ones whose command holds `part`.
std::vector<OtherProcess> processesRunning(const std::string& part);

/// One a line, for messages.
std::string describe(const std::vector<OtherProcess>& processes);

}  // namespace tarn::test
