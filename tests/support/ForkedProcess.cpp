#include "tests/support/ForkedProcess.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tarn::test {

namespace {

[[noreturn]] void workUntilKilled(const std::function<void()>& work) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
        work();
    } catch (...) {
        ::_exit(1);
    }
    while (true) {
        ::pause();
    }
}

}  // namespace

ForkedProcess::ForkedProcess(const std::function<void()>& work) : child(::fork()) {
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
        workUntilKilled(work);
    }
}

ForkedProcess::~ForkedProcess() {
    if (child > 0) {
        killAndReap();
    }
}

void ForkedProcess::killAndLeaveZombie() {
    ::kill(child, SIGKILL);
    siginfo_t ended{};
    ::waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT);
}

void ForkedProcess::killAndReap() {
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    child = 0;
}

}  // namespace tarn::test
