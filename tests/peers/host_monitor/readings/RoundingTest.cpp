#include "peers/host_monitor/readings/Rounding.h"

#include <gtest/gtest.h>

#include <limits>

namespace tarn::peers::host_monitor {
namespace {

TEST(RoundingTest, PercentagesHaveTenthsAndStayInRange) {
    EXPECT_DOUBLE_EQ(percentOf(1, 3), 33.3);
    EXPECT_DOUBLE_EQ(percentOf(5, 4), 100);
    EXPECT_DOUBLE_EQ(percentOf(-5, 4), 0);
    EXPECT_DOUBLE_EQ(percentOf(0, 0), 0);
}

TEST(RoundingTest, TemperaturesHaveHalves) {
    EXPECT_DOUBLE_EQ(toHalves(41.85), 42);
    EXPECT_DOUBLE_EQ(toHalves(-0.6), -0.5);
}

TEST(RoundingTest, SizesHaveThousandthsOfTheWhole) {
    EXPECT_EQ(toThousandths(123'456, 1'000'000), 123'000U);
    EXPECT_EQ(toThousandths(7, 10), 7U);
    EXPECT_EQ(toThousandths(0, 0), 0U);
}

TEST(RoundingTest, RatesHaveThreeDigits) {
    EXPECT_EQ(toThreeDigits(123'456), 123'000U);
    EXPECT_EQ(toThreeDigits(999.6), 1000U);
    EXPECT_EQ(toThreeDigits(42.4), 42U);
    EXPECT_EQ(toThreeDigits(1), 1U);
    EXPECT_EQ(toThreeDigits(0.3), 0U);
    EXPECT_EQ(toThreeDigits(-5), 0U);
    EXPECT_EQ(toThreeDigits(std::numeric_limits<double>::quiet_NaN()), 0U);
    EXPECT_EQ(toThreeDigits(std::numeric_limits<double>::infinity()), 1'000'000'000'000'000'000U);
}

}  // namespace
}  // namespace tarn::peers::host_monitor
