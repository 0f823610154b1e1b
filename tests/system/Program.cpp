#include "tests/system/Program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <ostream>
#include <system_error>
#include <utility>

namespace tarn::test {

namespace {

[[noreturn]] void fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

Ending endingOf(int status) {
    return WIFSIGNALED(status) ? Ending::signalled(WTERMSIG(status))
                               : Ending::exited(WEXITSTATUS(status));
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Ending& ending) {
    switch (ending.how) {
        case Ending::How::Exited:
            return out << "exit status " << ending.value;
        case Ending::How::Signalled:
            return out << "ended by signal " << ending.value;
        case Ending::How::StillRunning:
            break;
    }
    return out << "still running";
}

Program::Program(const std::vector<std::string>& command) {
    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0) {
        fail(errno, "pipe");
    }
    outputPipe = pipe[0];
    try {
        start(command, pipe[1]);
    } catch (...) {
        ::close(pipe[0]);
        ::close(pipe[1]);
        throw;
    }
    ::close(pipe[1]);
    collector = std::jthread([this](const std::stop_token& stop) { collect(stop); });
}

void Program::start(const std::vector<std::string>& command, int output) {
    std::vector<char*> arguments;
    for (const auto& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);

    const int error =
        ::posix_spawnp(&child, arguments[0], &actions, &attributes, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        fail(error, command.front());
    }
}

Program::~Program() {
    if (ending.how == Ending::How::StillRunning) {
        ::kill(child, SIGKILL);
        waitForEnd(std::chrono::seconds(10));
    }
    closeOutput();
}

void Program::closeOutput() {
    readerGoes = true;
    collector = {};
    if (outputPipe >= 0) {
        ::close(std::exchange(outputPipe, -1));
    }
}

void Program::collect(const std::stop_token& stop) {
    constexpr int lookForStopMs = 50;
    std::array<char, 65536> buffer{};
    while (!readerGoes) {
        pollfd source{outputPipe, POLLIN, 0};
        if (::poll(&source, 1, lookForStopMs) == 0) {
            if (stop.stop_requested()) {
                break;
            }
            continue;
        }
        const auto got = ::read(outputPipe, buffer.data(), buffer.size());
        if (got <= 0) {
            break;
        }
        lines.append({buffer.data(), static_cast<std::size_t>(got)});
    }
    lines.close();
}

void Program::signal(int number) const {
    if (ending.how == Ending::How::StillRunning && ::kill(child, number) != 0) {
        fail(errno, "kill");
    }
}

Ending Program::waitForEnd(std::chrono::milliseconds bound) {
    if (ending.how != Ending::How::StillRunning) {
        return ending;
    }
    const int handle = static_cast<int>(::syscall(SYS_pidfd_open, child, 0));
    if (handle < 0) {
        fail(errno, "pidfd_open");
    }
    pollfd end{handle, POLLIN, 0};
    ::poll(&end, 1, static_cast<int>(bound.count()));
    ::close(handle);

    int status = 0;
    if (::waitpid(child, &status, WNOHANG) == child) {
        ending = endingOf(status);
        collector = {};
    }
    return ending;
}

}  // namespace tarn::test
