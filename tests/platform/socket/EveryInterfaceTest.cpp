#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "tests/platform/socket/SocketTestSupport.h"

namespace tarn::socket::test {

namespace {

constexpr int done = 0;
constexpr int failed = 1;
constexpr int notAllowed = 77;

// Whoever listens on every interface must do so where there is only the loopback one.
bool enterPrivateNetwork() {
    if (::unshare(CLONE_NEWNET) != 0 && ::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
        return false;
    }
    const int control = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq loopback{};
    std::strcpy(loopback.ifr_name, "lo");
    loopback.ifr_flags = IFF_UP;
    const bool up = ::ioctl(control, SIOCSIFFLAGS, &loopback) == 0;
    ::close(control);
    return up;
}

void exchangeOnEveryInterface() {
    if (!enterPrivateNetwork()) {
        std::_Exit(notAllowed);
    }
    try {
        const SocketEndpoint everywhere(Transport::Tcp, "*", 5000);
        const auto pull = open(Protocol::Pull, everywhere);
        for (const auto* host : {"*", "localhost", "127.0.0.1"}) {
            const auto push =
                open(Protocol::Push, SocketEndpoint(Transport::Tcp, host, 5000), patienceMs);
            send(*push, host);
            if (receive(*pull) != host) {
                std::_Exit(failed);
            }
        }
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        std::_Exit(failed);
    }
    std::_Exit(done);
}

}  // namespace

TEST(EveryInterfaceTest, AServerOnEveryInterfaceIsFoundOnThisMachine) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        exchangeOnEveryInterface(),
        [](int status) {
            const int code = WIFEXITED(status) ? WEXITSTATUS(status) : failed;
            if (code == notAllowed) {
                std::fputs("skipped: no private network on this machine\n", stderr);
            }
            return code == done || code == notAllowed;
        },
        "");
}

}  // namespace tarn::socket::test
