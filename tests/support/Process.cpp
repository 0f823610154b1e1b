#include "tests/support/Process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <ostream>
#include <system_error>

namespace tarn::test {

namespace {

struct Pipe {
    os::FileDescriptor readEnd;
    os::FileDescriptor writeEnd;
};

Pipe makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    return {os::FileDescriptor(ends[0]), os::FileDescriptor(ends[1])};
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

Process::Process(const std::vector<std::string>& command, const Environment& environment,
                 Outputs outputs)
    : outputs(outputs),
      child(start(command, environment)),
      collector([this](const std::stop_token& stop) { collect(stop); }) {}

pid_t Process::start(const std::vector<std::string>& command, const Environment& environment) {
    auto first = makePipe();
    auto second = outputs == Outputs::Apart ? makePipe() : Pipe{};
    const int errEnd = second.writeEnd.isOpen() ? second.writeEnd.get() : first.writeEnd.get();
    const auto id = spawn(command, {.out = first.writeEnd.get(), .err = errEnd}, environment);
    out.readEnd = std::move(first.readEnd);
    err.readEnd = std::move(second.readEnd);
    return id;
}

Process::~Process() {
    if (isRunning()) {
        signal(SIGKILL);
        waitForEnd();
    }
    closeOutput();
}

void Process::closeOutput() {
    readerGoes = true;
    collector = {};
    out.readEnd.close();
    err.readEnd.close();
}

void Process::collect(const std::stop_token& stop) {
    constexpr int lookForStopMs = 50;
    while (!readerGoes && (out.readEnd.isOpen() || err.readEnd.isOpen())) {
        std::array<pollfd, 2> sources = {pollfd{out.readEnd.get(), POLLIN, 0},
                                         pollfd{err.readEnd.get(), POLLIN, 0}};
        if (::poll(sources.data(), sources.size(), lookForStopMs) == 0 && stop.stop_requested()) {
            break;
        }
        for (Stream* stream : {&out, &err}) {
            if (sources[stream == &out ? 0 : 1].revents != 0) {
                stream->read();
            }
        }
    }
    out.lines.close();
    err.lines.close();
}

void Process::Stream::read() {
    std::array<char, 65536> buffer{};
    const auto got = ::read(readEnd.get(), buffer.data(), buffer.size());
    if (got <= 0) {
        readEnd.close();
        lines.close();
    } else {
        lines.append({buffer.data(), static_cast<std::size_t>(got)});
    }
}

void Process::signal(int number) const {
    if (ending == Ending{}) {
        child.signal(number);
    }
}

bool Process::waitForOut(const std::string& part, std::chrono::milliseconds bound) const {
    return out.lines.waitForText(part, bound);
}

bool Process::waitForErr(const std::string& part, std::chrono::milliseconds bound) const {
    const bool isApart = outputs == Outputs::Apart;
    return (isApart ? err : out).lines.waitForText(part, bound);
}

Ending Process::waitForEnd(std::chrono::milliseconds bound) {
    int status = 0;
    if (ending == Ending{} && child.waitForEnd(bound) && ::waitpid(id(), &status, 0) == id()) {
        ending = endingOf(status);
        collector = {};
    }
    return ending;
}

ProcessResult Process::wait(std::chrono::milliseconds bound) {
    if (waitForEnd(bound) == Ending{}) {
        signal(SIGKILL);
        waitForEnd();
    }
    const bool hasExited = ending.how == Ending::How::Exited;
    return {
        .exitStatus = hasExited ? ending.value : -1,
        .signal = hasExited ? 0 : ending.value,
        .out = out.lines.text(),
        .err = err.lines.text(),
        .duration = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - started)};
}

ProcessResult runProcess(const std::vector<std::string>& command, const Environment& environment,
                         std::chrono::milliseconds bound) {
    return Process(command, environment, Process::Outputs::Apart).wait(bound);
}

}  // namespace tarn::test
