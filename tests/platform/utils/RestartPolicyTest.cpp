#include "platform/utils/RestartPolicy.h"

#include <gtest/gtest.h>

namespace tarn::utils {
namespace {

using namespace std::chrono_literals;

struct RestartPolicyTest : testing::Test {
    RestartPolicy policy;
    RestartPolicy::Clock::time_point now{};

    auto failsAfterPlaying(RestartPolicy::Clock::duration time) {
        policy.playing(now);
        now += time;
        return policy.failed(now);
    }
};

TEST_F(RestartPolicyTest, WaitsHalfASecondAtFirstAndTwiceAsLongEachTimeUpToThirtySeconds) {
    for (const auto expected : {500ms, 1000ms, 2000ms, 4000ms, 8000ms, 16000ms, 30000ms, 30000ms}) {
        EXPECT_EQ(policy.failed(now), expected);
    }
}

TEST_F(RestartPolicyTest, BeginsAgainAfterThirtySecondsOfPlaying) {
    policy.failed(now);
    policy.failed(now);
    EXPECT_EQ(failsAfterPlaying(30s), 500ms);
    EXPECT_EQ(failsAfterPlaying(1s), 1000ms);
}

TEST_F(RestartPolicyTest, AShorterRunIsNotGoodEnough) {
    policy.failed(now);
    EXPECT_EQ(failsAfterPlaying(29999ms), 1000ms);
}

TEST_F(RestartPolicyTest, ARunThatNeverPlayedDoesNotCountHoweverLongItTook) {
    EXPECT_EQ(failsAfterPlaying(1s), 500ms);
    now += 60s;
    EXPECT_EQ(policy.failed(now), 1000ms);
}

}  // namespace
}  // namespace tarn::utils
