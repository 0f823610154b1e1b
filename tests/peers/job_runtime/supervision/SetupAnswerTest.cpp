#include "peers/job_runtime/supervision/SetupAnswer.h"

#include <gtest/gtest.h>

#include <vector>

namespace tarn::peers {
namespace {

using namespace std::chrono_literals;

struct SetupAnswerTest : testing::Test {
    const SetupAnswer::Clock::time_point asked = SetupAnswer::Clock::time_point() + 1000s;
    std::vector<SetupVerdict> given;
    SetupAnswer answer{[this](const SetupVerdict& verdict) { given.push_back(verdict); }, asked};
};

TEST_F(SetupAnswerTest, IsAnAcceptanceAfterThreeHundredMilliseconds) {
    EXPECT_EQ(answer.deadline(), asked + 300ms);
    answer.step(asked + 299ms);
    EXPECT_TRUE(given.empty());
    answer.step(asked + 300ms);
    ASSERT_EQ(given.size(), 1U);
    EXPECT_FALSE(given[0].refusal);
    EXPECT_EQ(given[0].warning, "");
}

TEST_F(SetupAnswerTest, IsGivenOnceAndTheFirstOneHolds) {
    answer.accept();
    answer.refuse("too late");
    answer.step(asked + 1s);
    ASSERT_EQ(given.size(), 1U);
    EXPECT_FALSE(given[0].refusal);
    EXPECT_FALSE(answer.deadline());
}

TEST_F(SetupAnswerTest, ARefusalCarriesItsReason) {
    answer.warn("not persistent");
    answer.refuse("no such element");
    answer.accept();
    ASSERT_EQ(given.size(), 1U);
    EXPECT_EQ(given[0].refusal, "no such element");
    EXPECT_EQ(given[0].warning, "");
}

TEST_F(SetupAnswerTest, AnAcceptanceCarriesWhatTheJobLacks) {
    answer.warn("not persistent");
    answer.step(asked + 300ms);
    ASSERT_EQ(given.size(), 1U);
    EXPECT_EQ(given[0].warning, "not persistent");
}

}  // namespace
}  // namespace tarn::peers
