#include "peers/job_runtime/pipeline/StopEscalation.h"

#include <gtest/gtest.h>

namespace tarn::peers {
namespace {

using namespace std::chrono_literals;
using Step = StopEscalation::Step;

struct StopLadderTest : testing::Test {
    StopEscalation ladder;
    const StopEscalation::Clock::time_point start{};
};

TEST_F(StopLadderTest, NothingIsDueBeforeItIsBegun) {
    EXPECT_FALSE(ladder.hasBegun());
    EXPECT_FALSE(ladder.deadline());
    EXPECT_FALSE(ladder.take(start + 1h));
}

TEST_F(StopLadderTest, TerminatesAfterFiveSecondsKillsAfterOneMoreAndGivesUpInTheEnd) {
    ladder.begin(start);
    EXPECT_EQ(ladder.deadline(), start + 5s);
    EXPECT_FALSE(ladder.take(start + 4999ms));
    EXPECT_EQ(ladder.take(start + 5s), Step::Terminate);
    EXPECT_FALSE(ladder.take(start + 5999ms));
    EXPECT_EQ(ladder.take(start + 6s), Step::Kill);
    EXPECT_EQ(ladder.take(start + 11s), Step::GiveUp);
    EXPECT_FALSE(ladder.deadline());
    EXPECT_FALSE(ladder.take(start + 1h));
}

TEST_F(StopLadderTest, BeginningAgainDoesNotGiveMoreTime) {
    ladder.begin(start);
    ladder.begin(start + 4s);
    EXPECT_EQ(ladder.deadline(), start + 5s);
}

}  // namespace
}  // namespace tarn::peers
