#include "peers/job_runtime/launcher/LauncherProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <functional>
#include <string>

#include "platform/os/FileDescriptor.h"

namespace tarn::peers {
namespace {

/// What a child of this process says of itself.
bool holdsInAChild(const std::function<bool()>& condition) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(condition() ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool isOpen(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) >= 0;
}

TEST(LauncherProcessTest, KeepsOfWhatItInheritedItsStandardStreamsAlone) {
    const os::FileDescriptor inherited(::eventfd(0, 0));
    EXPECT_TRUE(holdsInAChild([&] {
        resetInheritedState();
        return isOpen(STDIN_FILENO) && isOpen(STDOUT_FILENO) && isOpen(STDERR_FILENO) &&
               !isOpen(STDERR_FILENO + 1) && !isOpen(inherited.get());
    }));
}

TEST(LauncherProcessTest, HasTheSignalsOfAFreshProcess) {
    EXPECT_TRUE(holdsInAChild([] {
        sigset_t blocked;
        ::sigemptyset(&blocked);
        ::sigaddset(&blocked, SIGTERM);
        ::sigprocmask(SIG_BLOCK, &blocked, nullptr);
        ::signal(SIGHUP, SIG_IGN);
        ::signal(SIGUSR1, SIG_IGN);
        resetInheritedState();
        struct sigaction first {};
        struct sigaction later {};
        ::sigaction(SIGHUP, nullptr, &first);
        ::sigaction(SIGUSR1, nullptr, &later);
        ::sigprocmask(SIG_BLOCK, nullptr, &blocked);
        return first.sa_handler == SIG_DFL && later.sa_handler == SIG_DFL &&
               ::sigismember(&blocked, SIGTERM) == 0;
    }));
}

TEST(LauncherProcessTest, LetsGoOfItsStandardStreams) {
    EXPECT_TRUE(holdsInAChild([] {
        closeStandardStreams();
        bool lead = true;
        for (const std::string stream : {"0", "1", "2"}) {
            lead = lead && std::filesystem::read_symlink("/proc/self/fd/" + stream) == "/dev/null";
        }
        return lead;
    }));
}

TEST(LauncherProcessTest, BecomesASessionOfItsOwnAndItsStarterReturns) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    EXPECT_TRUE(holdsInAChild([&]() -> bool {
        detach();
        const char isLeader = ::getsid(0) == ::getpid() ? 'y' : 'n';
        ::_exit(::write(ends[1], &isLeader, 1) == 1 ? 7 : 8);  // which nobody waits for
    }));
    ::close(ends[1]);
    char isLeader = '?';
    EXPECT_EQ(::read(ends[0], &isLeader, 1), 1);
    EXPECT_EQ(isLeader, 'y');
    ::close(ends[0]);
}

}  // namespace
}  // namespace tarn::peers
