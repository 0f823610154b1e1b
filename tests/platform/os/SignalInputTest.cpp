#include "platform/os/SignalInput.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include "platform/os/Readable.h"
#include "platform/os/SignalsBlocked.h"
#include "platform/os/StopSignals.h"

namespace tarn::os {
namespace {

using namespace std::chrono_literals;

/// The signals are as before at the end of each test.
struct SignalInputTest : testing::Test {
    const SignalsBlocked blocked{SIGUSR1, SIGUSR2, SIGINT, SIGTERM};
};
using StopSignalsTest = SignalInputTest;

bool canBeRead(const SignalInput& signals) {
    return becomesReadable(signals.descriptor(), Deadline(0ms));
}

TEST_F(SignalInputTest, IsNoneUntilOneComes) {
    SignalInput signals{SIGUSR1, SIGUSR2};
    EXPECT_FALSE(signals.isRaised());
    EXPECT_FALSE(canBeRead(signals));
    EXPECT_FALSE(signals.waitFor(1ms));
    EXPECT_EQ(signals.take(), 0);
}

TEST_F(SignalInputTest, IsKeptUntilItIsTaken) {
    SignalInput signals{SIGUSR1, SIGUSR2};
    for (const int signal : {SIGUSR1, SIGUSR2}) {
        ::kill(::getpid(), signal);
        EXPECT_TRUE(signals.isRaised());
        EXPECT_TRUE(canBeRead(signals));
        EXPECT_TRUE(signals.waitFor(1h));
        EXPECT_EQ(signals.take(), signal);
        EXPECT_FALSE(signals.isRaised());
    }
}

TEST_F(SignalInputTest, GivesOneAfterTheOther) {
    SignalInput signals{SIGUSR1, SIGUSR2};
    ::kill(::getpid(), SIGUSR1);
    ::kill(::getpid(), SIGUSR2);
    EXPECT_NE(signals.take(), signals.take());
    EXPECT_EQ(signals.take(), 0);
}

// A shell that starts something in the background has it ignore SIGINT.
TEST_F(SignalInputTest, TakesASignalThatIsIgnored) {
    const auto before = ::signal(SIGUSR1, SIG_IGN);
    SignalInput signals{SIGUSR1};
    ::kill(::getpid(), SIGUSR1);
    EXPECT_EQ(signals.take(), SIGUSR1);
    ::signal(SIGUSR1, before);
}

TEST_F(StopSignalsTest, AreTheTwoThatTellAProgramToEnd) {
    StopSignals signals;
    EXPECT_FALSE(signals.isRaised());
    for (const int signal : {SIGTERM, SIGINT}) {
        ::raise(signal);
        EXPECT_TRUE(signals.isRaised());
        EXPECT_EQ(signals.take(), signal);
        EXPECT_FALSE(signals.isRaised());
        EXPECT_EQ(signals.take(), 0);
    }
}

}  // namespace
}  // namespace tarn::os
