#include "tests/support/Process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace tarn::test {

namespace {

void check(int error, const std::string& what) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

std::array<int, 2> makePipe() {
    std::array<int, 2> ends{};
    check(::pipe2(ends.data(), O_CLOEXEC) == 0 ? 0 : errno, "pipe2");
    return ends;
}

void closeEnd(int& descriptor) {
    if (descriptor >= 0) {
        ::close(descriptor);
        descriptor = -1;
    }
}

std::vector<std::string> environmentWith(const std::map<std::string, std::string>& additions) {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (!additions.contains(text.substr(0, text.find('=')))) {
            result.push_back(text);
        }
    }
    for (const auto& [name, value] : additions) {
        result.push_back(name + "=" + value);
    }
    return result;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    std::transform(texts.begin(), texts.end(), std::back_inserter(pointers),
                   [](std::string& text) { return text.data(); });
    pointers.push_back(nullptr);
    return pointers;
}

int millisecondsUntil(std::chrono::steady_clock::time_point then) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(then - std::chrono::steady_clock::now());
    return static_cast<int>(std::max(left, std::chrono::milliseconds(0)).count());
}

}  // namespace

Process::Process(const std::vector<std::string>& command,
                 const std::map<std::string, std::string>& environment) {
    auto outEnds = makePipe();
    auto errEnds = makePipe();
    out.readEnd = outEnds[0];
    err.readEnd = errEnds[0];
    try {
        spawn(command, environment, outEnds[1], errEnds[1]);
    } catch (...) {
        for (int* end : {&out.readEnd, &err.readEnd, &outEnds[1], &errEnds[1]}) {
            closeEnd(*end);
        }
        throw;
    }
    closeEnd(outEnds[1]);
    closeEnd(errEnds[1]);
}

Process::~Process() {
    if (pid > 0) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
    closeEnd(out.readEnd);
    closeEnd(err.readEnd);
}

void Process::spawn(const std::vector<std::string>& command,
                    const std::map<std::string, std::string>& environment, int outEnd, int errEnd) {
    auto arguments = command;
    auto variables = environmentWith(environment);
    posix_spawn_file_actions_t actions;
    check(::posix_spawn_file_actions_init(&actions), "posix_spawn_file_actions_init");
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, outEnd, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, errEnd, STDERR_FILENO);
    const int error = ::posix_spawnp(&pid, arguments.front().c_str(), &actions, nullptr,
                                     pointersTo(arguments).data(), pointersTo(variables).data());
    ::posix_spawn_file_actions_destroy(&actions);
    pid = error == 0 ? pid : -1;
    check(error, "cannot start " + command.front());
}

void Process::signal(int number) const {
    if (pid > 0) {
        ::kill(pid, number);
    }
}

bool Process::waitForOut(const std::string& part, std::chrono::milliseconds bound) {
    return waitForText(out, part, bound);
}

bool Process::waitForErr(const std::string& part, std::chrono::milliseconds bound) {
    return waitForText(err, part, bound);
}

bool Process::waitForText(const Pipe& pipe, const std::string& part,
                          std::chrono::milliseconds bound) {
    const auto until = Clock::now() + bound;
    while (pipe.text.find(part) == std::string::npos) {
        if (!readMore(until)) {
            return false;
        }
    }
    return true;
}

// False when both pipes are at their end, or the time has come.
bool Process::readMore(Clock::time_point until) {
    std::array<pollfd, 2> ends = {pollfd{out.readEnd, POLLIN, 0}, pollfd{err.readEnd, POLLIN, 0}};
    if ((out.readEnd < 0 && err.readEnd < 0) ||
        ::poll(ends.data(), ends.size(), millisecondsUntil(until)) <= 0) {
        return false;
    }
    for (Pipe* pipe : {&out, &err}) {
        if (pipe->readEnd < 0 || ends[pipe == &out ? 0 : 1].revents == 0) {
            continue;
        }
        std::array<char, 4096> chunk{};
        const auto count = ::read(pipe->readEnd, chunk.data(), chunk.size());
        if (count <= 0) {
            closeEnd(pipe->readEnd);
        } else {
            pipe->text.append(chunk.data(), static_cast<std::size_t>(count));
        }
    }
    return true;
}

// Whoever inherited the pipes may hold them open longer than the program lives.
void Process::reap(Clock::time_point until) {
    const auto descriptor = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    check(descriptor >= 0 ? 0 : errno, "pidfd_open");
    pollfd end = {descriptor, POLLIN, 0};
    if (::poll(&end, 1, millisecondsUntil(until)) <= 0) {
        ::kill(pid, SIGKILL);
    }
    ::close(descriptor);
}

ProcessResult Process::wait(std::chrono::milliseconds bound) {
    const auto until = Clock::now() + bound;
    while (readMore(until)) {
    }
    reap(until);
    int status = 0;
    check(::waitpid(pid, &status, 0) == pid ? 0 : errno, "waitpid");
    pid = -1;
    ProcessResult result;
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    result.out = out.text;
    result.err = err.text;
    result.duration = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - started);
    return result;
}

ProcessResult runProcess(const std::vector<std::string>& command,
                         const std::map<std::string, std::string>& environment,
                         std::chrono::milliseconds bound) {
    return Process(command, environment).wait(bound);
}

}  // namespace tarn::test
