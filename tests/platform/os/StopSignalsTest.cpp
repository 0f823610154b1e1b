#include "platform/os/StopSignals.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>

namespace tarn::os {
namespace {

bool isReadable(int descriptor) {
    pollfd input{.fd = descriptor, .events = POLLIN, .revents = 0};
    return ::poll(&input, 1, 0) == 1;
}

TEST(StopSignals, AreNoneUntilOneComes) {
    StopSignals signals;
    EXPECT_FALSE(signals.isRaised());
    EXPECT_FALSE(isReadable(signals.descriptor()));
    EXPECT_FALSE(signals.take());
}

TEST(StopSignals, AreTakenOnceEachTimeThatTheyCome) {
    StopSignals signals;
    for (const int signal : {SIGTERM, SIGINT}) {
        ::raise(signal);
        EXPECT_TRUE(signals.isRaised());
        EXPECT_TRUE(isReadable(signals.descriptor()));
        EXPECT_TRUE(signals.take());
        EXPECT_FALSE(signals.isRaised());
        EXPECT_FALSE(signals.take());
    }
    ::raise(SIGTERM);
    ::raise(SIGINT);
    EXPECT_TRUE(signals.take());
    EXPECT_FALSE(signals.isRaised());
}

}  // namespace
}  // namespace tarn::os
