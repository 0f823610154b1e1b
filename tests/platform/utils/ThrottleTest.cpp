#include "platform/utils/Throttle.h"

#include <gtest/gtest.h>

namespace tarn::utils {

using namespace std::chrono_literals;

TEST(ThrottleTest, LetsTheFirstThroughAndThenOneAnIntervalWithTheirNumber) {
    Throttle throttle(10s);
    const Throttle::TimePoint begin{};
    EXPECT_EQ(throttle.occurred(begin), 1U);
    EXPECT_EQ(throttle.occurred(begin), std::nullopt);
    EXPECT_EQ(throttle.occurred(begin + 9999ms), std::nullopt);
    EXPECT_EQ(throttle.occurred(begin + 10s), 3U);
    EXPECT_EQ(throttle.occurred(begin + 11s), std::nullopt);
    EXPECT_EQ(throttle.occurred(begin + 60s), 2U);
}

}  // namespace tarn::utils
