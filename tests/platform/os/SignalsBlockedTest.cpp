#include "platform/os/SignalsBlocked.h"

#include <gtest/gtest.h>
#include <signal.h>

namespace tarn::os {

namespace {

bool isBlocked(int signal) {
    sigset_t now;
    ::pthread_sigmask(SIG_BLOCK, nullptr, &now);
    return ::sigismember(&now, signal) == 1;
}

}  // namespace

TEST(SignalsBlockedTest, AreAllButThoseOfFaultsAndOnlyAsLongAsItLives) {
    sigset_t one;
    ::sigemptyset(&one);
    ::sigaddset(&one, SIGUSR2);
    ::pthread_sigmask(SIG_BLOCK, &one, nullptr);
    {
        const SignalsBlocked blocked;
        for (const int signal : {SIGINT, SIGTERM, SIGQUIT, SIGUSR1, SIGUSR2, SIGHUP}) {
            EXPECT_TRUE(isBlocked(signal)) << signal;
        }
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) {
            EXPECT_FALSE(isBlocked(fault)) << fault;
        }
    }
    EXPECT_FALSE(isBlocked(SIGTERM));
    EXPECT_TRUE(isBlocked(SIGUSR2));
    ::pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
}

TEST(SignalsBlockedTest, AreOnlyThoseThatAreNamed) {
    {
        const SignalsBlocked blocked{SIGINT, SIGQUIT};
        EXPECT_TRUE(isBlocked(SIGINT));
        EXPECT_TRUE(isBlocked(SIGQUIT));
        EXPECT_FALSE(isBlocked(SIGTERM));
    }
    EXPECT_FALSE(isBlocked(SIGINT));
    EXPECT_FALSE(isBlocked(SIGQUIT));
}

}  // namespace tarn::os
