#include "platform/os/WakeUp.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/os/Readable.h"

namespace tarn::os {
namespace {

using namespace std::chrono_literals;

bool hasRung(const WakeUp& wakeUp) {
    return becomesReadable(wakeUp.descriptor(), Deadline(0ms));
}

TEST(WakeUpTest, CanBeReadFromTheFirstRingUntilItIsReset) {
    WakeUp wakeUp;
    EXPECT_FALSE(hasRung(wakeUp));
    wakeUp.ring();
    wakeUp.ring();
    EXPECT_TRUE(hasRung(wakeUp));
    EXPECT_TRUE(hasRung(wakeUp));
    wakeUp.reset();
    EXPECT_FALSE(hasRung(wakeUp));
    wakeUp.reset();  // and does not wait
    wakeUp.ring();
    EXPECT_TRUE(hasRung(wakeUp));
}

TEST(WakeUpTest, EndsAWaitThatHasBegunOrNot) {
    WakeUp wakeUp;
    std::jthread ringing([&] { wakeUp.ring(); });
    wakeUp.waitFor(1h);
    wakeUp.waitFor(1h);
    EXPECT_TRUE(hasRung(wakeUp));
}

TEST(WakeUpTest, NobodyRingsWithinTheBound) {
    const WakeUp wakeUp;
    wakeUp.waitFor(1ms);
    EXPECT_FALSE(hasRung(wakeUp));
}

}  // namespace
}  // namespace tarn::os
