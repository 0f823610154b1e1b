#include "platform/os/Deadline.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <limits>
#include <thread>

#include "platform/os/Readable.h"
#include "platform/os/WakeUp.h"

namespace tarn::os {
namespace {

using namespace std::chrono_literals;

TEST(DeadlineTest, LeavesTheWholeTimeAndNeverLessThanNone) {
    const Deadline later(1h);
    EXPECT_FALSE(later.hasPassed());
    EXPECT_GT(later.remaining(), 30min);
    EXPECT_LE(later.remaining(), 1h);
    const Deadline passed(-1h);
    EXPECT_TRUE(passed.hasPassed());
    EXPECT_EQ(passed.remaining(), 0ms);
    EXPECT_EQ(passed.remainingForPoll(), 0);
}

// What remains is waited for: none of it must be left when that wait is over.
TEST(DeadlineTest, RoundsUpWhatIsLeftOfAMillisecond) {
    const Deadline soon(1ms);
    while (!soon.hasPassed()) {
        const auto left = soon.remaining();
        EXPECT_TRUE(left > 0ms || soon.hasPassed());
    }
    EXPECT_EQ(soon.remaining(), 0ms);
}

// poll takes a negative time for ever, and has no larger one than that of an int.
TEST(DeadlineTest, IsCutToWhatPollCanWaitFor) {
    EXPECT_EQ(Deadline(24h * 365).remainingForPoll(), std::numeric_limits<int>::max());
    EXPECT_GT(Deadline(1h).remainingForPoll(), 30 * 60 * 1000);
}

TEST(ReadableTest, IsAskedForWithoutWaitingOnceTheDeadlineHasPassed) {
    WakeUp wakeUp;
    const Deadline passed(0ms);
    EXPECT_FALSE(becomesReadable(wakeUp.descriptor(), passed));
    wakeUp.ring();
    EXPECT_TRUE(becomesReadable(wakeUp.descriptor(), passed));
    EXPECT_FALSE(becomesReadable(-1, passed));
}

TEST(ReadableTest, IsWaitedForThroughSignals) {
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = [](int) {};
    ::sigaction(SIGUSR1, &action, &before);  // it interrupts waits
    WakeUp wakeUp;
    const auto waiting = ::pthread_self();
    {
        std::jthread signalling([&] {
            for (int i = 0; i < 20; ++i) {
                ::pthread_kill(waiting, SIGUSR1);
                std::this_thread::yield();
            }
            wakeUp.ring();
        });
        EXPECT_TRUE(becomesReadable(wakeUp.descriptor(), Deadline(1h)));
    }
    ::sigaction(SIGUSR1, &before, nullptr);
}

}  // namespace
}  // namespace tarn::os
