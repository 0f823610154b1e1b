#include "benchmarks/ChildProcess.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tarn::benchmarks {

ChildProcess::ChildProcess(const std::function<void()>& work) : id(::fork()) {
    if (id < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (id == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        try {
            work();
        } catch (...) {
        }
        ::_exit(1);
    }
}

ChildProcess::~ChildProcess() {
    ::kill(id, SIGKILL);
    ::waitpid(id, nullptr, 0);
}

}  // namespace tarn::benchmarks
