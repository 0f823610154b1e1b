#include "service/devices/capture/DeltacastRestart.h"

#include <gtest/gtest.h>

namespace tarn::service::devices {

using namespace std::chrono_literals;

class DeltacastRestartTest : public testing::Test {
  protected:
    /// It was started, has answered for so long, and has ended.
    auto endsAfter(DeltacastRestart::Time::duration run) {
        restart.runs(now);
        now += run;
        return restart.ended(now);
    }
    /// The time until it is due has passed.
    void becomeDue() {
        now += restart.left(now).value();
        ASSERT_TRUE(restart.takeDue(now));
    }

    DeltacastRestart restart;
    DeltacastRestart::Time now{};
};

TEST_F(DeltacastRestartTest, NothingIsDueBeforeOneRanAndEnded) {
    EXPECT_FALSE(restart.takeDue(now));
    EXPECT_FALSE(restart.ended(now)) << "nobody's";
    EXPECT_FALSE(restart.failed(now));
    restart.runs(now);
    EXPECT_FALSE(restart.takeDue(now + 1h));
    EXPECT_FALSE(restart.left(now));
}

TEST_F(DeltacastRestartTest, IsDueOnceHalfASecondAfterTheEnd) {
    EXPECT_EQ(endsAfter(10s), 500ms);
    EXPECT_EQ(restart.left(now), 500ms);
    EXPECT_FALSE(restart.takeDue(now + 499ms));
    EXPECT_EQ(restart.left(now + 499ms), 1ms);
    EXPECT_EQ(restart.left(now + 2s), 0ms);
    EXPECT_TRUE(restart.takeDue(now + 500ms));
    EXPECT_FALSE(restart.takeDue(now + 501ms));
}

TEST_F(DeltacastRestartTest, TheEndIsTakenNoteOfOnce) {
    EXPECT_TRUE(endsAfter(1s));
    EXPECT_FALSE(restart.ended(now + 100ms));
    EXPECT_EQ(restart.left(now), 500ms);
}

TEST_F(DeltacastRestartTest, EachShortRunDoublesTheWaitUpToThirtySeconds) {
    for (const auto expected : {500ms, 1000ms, 2000ms, 4000ms, 8000ms, 16000ms, 30000ms, 30000ms}) {
        EXPECT_EQ(endsAfter(29s), expected);
        becomeDue();
    }
}

TEST_F(DeltacastRestartTest, OneThatDoesNotComeUpIsTriedAgainAndDoublesTheWait) {
    endsAfter(1s);
    becomeDue();
    EXPECT_EQ(restart.failed(now), 1000ms);
    becomeDue();
    EXPECT_EQ(restart.failed(now), 2000ms);
}

TEST_F(DeltacastRestartTest, AGoodRunOfThirtySecondsBringsTheWaitBack) {
    endsAfter(1s);
    becomeDue();
    EXPECT_EQ(endsAfter(1s), 1000ms);
    becomeDue();
    EXPECT_EQ(endsAfter(30s), 500ms);
}

TEST_F(DeltacastRestartTest, AnswersThatComeOnAreOneRun) {
    restart.runs(now);
    now += 20s;
    restart.runs(now);
    now += 10s;
    EXPECT_EQ(restart.ended(now), 500ms);
    becomeDue();
    EXPECT_EQ(endsAfter(1s), 1000ms);
    becomeDue();
    restart.runs(now);
    now += 20s;
    restart.runs(now);
    now += 10s;
    EXPECT_EQ(restart.ended(now), 500ms) << "30 s in all";
}

TEST_F(DeltacastRestartTest, WhatIsGivenUpIsNotDue) {
    endsAfter(1s);
    restart.giveUp();
    EXPECT_FALSE(restart.takeDue(now + 1h));
    EXPECT_FALSE(restart.left(now));
    EXPECT_FALSE(restart.failed(now));
}

}  // namespace tarn::service::devices
