#include "tests/peers/support/StartedProgram.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

extern "C" {
#include <sys/pidfd.h>
}

namespace tarn::test {

namespace {

pid_t start(const std::string& name, const std::vector<std::string>& arguments) {
    std::string path = std::string(TARN_PROGRAM_FOLDER) + "/" + name;
    std::vector<std::string> copies = arguments;
    std::vector<char*> texts = {path.data()};
    for (auto& copy : copies) {
        texts.push_back(copy.data());
    }
    texts.push_back(nullptr);
    pid_t id = -1;
    const int error = ::posix_spawn(&id, path.c_str(), nullptr, nullptr, texts.data(), environ);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), path);
    }
    return id;
}

}  // namespace

WatchedProcess::WatchedProcess(pid_t id)
    : processId(id),
      descriptor(tarn::os::checkedDescriptor(::pidfd_open(id, 0), "no such process")) {}

bool WatchedProcess::waitForEnd(std::chrono::milliseconds bound) const {
    pollfd ended{.fd = descriptor.get(), .events = POLLIN, .revents = 0};
    return ::poll(&ended, 1, static_cast<int>(bound.count())) == 1;
}

void WatchedProcess::signal(int signal) const {
    ::pidfd_send_signal(descriptor.get(), signal, nullptr, 0);
}

StartedProgram::StartedProgram(const std::string& name, const std::vector<std::string>& arguments)
    : watched(start(name, arguments)) {}

StartedProgram::~StartedProgram() {
    if (!status) {
        watched.signal(SIGKILL);
        exitStatus();
    }
}

std::optional<int> StartedProgram::exitStatus(std::chrono::milliseconds bound) {
    int raw = 0;
    if (!status && watched.waitForEnd(bound) && ::waitpid(watched.id(), &raw, 0) > 0) {
        status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    }
    return status;
}

void pauseBetweenTries() {
    ::poll(nullptr, 0, 5);
}

}  // namespace tarn::test
