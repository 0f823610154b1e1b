#include "peers/job_runtime/launcher/LauncherProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "platform/os/FileDescriptor.h"

namespace tarn::peers {

void resetInheritedState() {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal) {
        ::sigaction(signal, &standard, nullptr);  // some cannot be changed, and need not be
    }
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::close_range(STDERR_FILENO + 1, ~0U, 0);
}

void detach() {
    const pid_t child = ::fork();
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child > 0) {
        ::_exit(0);
    }
    ::setsid();  // a new process is never a group leader: this cannot fail
}

void closeStandardStreams() {
    const os::FileDescriptor null(::open("/dev/null", O_RDWR | O_CLOEXEC));
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (null.isOpen()) {
            ::dup2(null.get(), stream);
        }
    }
}

}  // namespace tarn::peers
