#include "platform/os/ProcessIdentity.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <sstream>
#include <string>

namespace tarn::os {

namespace {

struct ProcessStatus {
    char state = 0;
    std::uint64_t startTime = 0;
};

// One read: the kernel gives the whole line at once.
std::string readStatusLine(pid_t id) {
    const auto path = "/proc/" + std::to_string(id) + "/stat";
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return {};
    }
    char buffer[2048];
    ssize_t length;
    do {
        length = ::read(file, buffer, sizeof buffer);
    } while (length < 0 && errno == EINTR);
    ::close(file);
    return length > 0 ? std::string(buffer, static_cast<std::size_t>(length)) : std::string();
}

// "id (name) state ...": the name may hold blanks and brackets, so the fields begin after the last
// closing one. The state is the third field, the start time the twenty-second.
std::optional<ProcessStatus> readStatus(pid_t id) {
    const auto line = readStatusLine(id);
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
