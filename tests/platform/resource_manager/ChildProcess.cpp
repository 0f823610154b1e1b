#include "tests/platform/resource_manager/ChildProcess.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tarn::resource_manager::test {

ChildProcess::ChildProcess(const std::function<void()>& body) : id(::fork()) {
    if (id < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (id == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        body();
        while (true) {
            ::pause();
        }
    }
}

ChildProcess::~ChildProcess() {
    if (id > 0) {
        killAndReap();
    }
}

void ChildProcess::killAndLeaveZombie() {
    ::kill(id, SIGKILL);
    siginfo_t ended{};
    ::waitid(P_PID, static_cast<id_t>(id), &ended, WEXITED | WNOWAIT);
}

void ChildProcess::killAndReap() {
    ::kill(id, SIGKILL);
    ::waitpid(id, nullptr, 0);
    id = 0;
}

}  // namespace tarn::resource_manager::test
