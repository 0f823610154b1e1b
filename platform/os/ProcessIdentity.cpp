#include "platform/os/ProcessIdentity.h"

#include <unistd.h>

#include <optional>
#include <sstream>
#include <string>

#include "platform/os/SmallFile.h"

namespace tarn::os {

namespace {

struct ProcessStatus {
    char state = 0;
    std::uint64_t startTime = 0;
};

// "id (name) state ...": the name may hold blanks and brackets, so the fields begin after the last
// closing one. The state is the third field, the start time the twenty-second.
std::optional<ProcessStatus> readStatus(pid_t id) {
    constexpr std::size_t longestLine = 2048;
    const auto line =
        readBeginning("/proc/" + std::to_string(id) + "/stat", longestLine).value_or("");
    const auto nameEnd = line.rfind(')');
    if (nameEnd == std::string::npos) {
        return std::nullopt;
    }
    std::istringstream fields(line.substr(nameEnd + 1));
    ProcessStatus status;
    std::string skipped;
    fields >> status.state;
    for (int field = 4; field < 22; ++field) {
        fields >> skipped;
    }
    if (!(fields >> status.startTime)) {
        return std::nullopt;
    }
    return status;
}

bool isDeadState(char state) {
    return state == 'Z' || state == 'X' || state == 'x';
}

}  // namespace

ProcessIdentity ProcessIdentity::ofThisProcess() {
    return of(::getpid());
}

ProcessIdentity ProcessIdentity::of(pid_t id) {
    const auto status = readStatus(id);
    return {id, status ? status->startTime : 0};
}

bool isAlive(const ProcessIdentity& process) {
    const auto status = readStatus(process.id);
    return status && !isDeadState(status->state) &&
           (process.startTime == 0 || status->startTime == process.startTime);
}

}  // namespace tarn::os
