#include "peers/host_monitor/readings/Processors.h"

#include <gtest/gtest.h>

namespace tarn::peers::host_monitor {
namespace {

constexpr auto recordedStat =
    "cpu  644951 54884 75770 510864 1032 0 1316 935 0 0\n"
    "cpu0 328532 23259 34428 257392 155 0 535 462 0 0\n"
    "cpu1 316418 31624 41341 253471 876 0 780 473 0 0\n"
    "intr 1234 0 9\nctxt 5\nbtime 1795254000\nprocesses 4\nsoftirq 1 2 3\n";

TEST(ProcessorsTest, ReadsEachAndAllOfThem) {
    const auto processors = parseProcessors(recordedStat);
    ASSERT_EQ(processors.size(), 3U);
    EXPECT_EQ(processors.at(allProcessors).idle, 510864U + 1032);
    EXPECT_EQ(processors.at(0).busy, 328532U + 23259 + 34428 + 535 + 462);
    EXPECT_EQ(processors.at(1).idle, 253471U + 876);
}

TEST(ProcessorsTest, GuestsAreNotCountedTwice) {
    EXPECT_EQ(parseProcessors("cpu0 10 0 0 90 0 0 0 0 7 3").at(0).busy, 10U);
}

TEST(ProcessorsTest, OldKernelsHaveFewerCounters) {
    const auto processors = parseProcessors("cpu0 1 2 3 4");
    EXPECT_EQ(processors.at(0).busy, 6U);
    EXPECT_EQ(processors.at(0).idle, 4U);
}

TEST(ProcessorsTest, BrokenLinesAreLeftOut) {
    for (const char* text :
         {"", "cpu0", "cpu0 1 2 3", "cpux 1 2 3 4", "cpu0 1 2 3 x", "cpu0 1 2 -3 4",
          "cpu99999999999 1 2 3 4", "cpu-1 1 2 3 4", "cpu65536 1 2 3 4", "\x01\xff"}) {
        EXPECT_TRUE(parseProcessors(text).empty()) << text;
    }
    EXPECT_EQ(parseProcessors("cpu65535 1 2 3 4").size(), 1U);
    EXPECT_EQ(parseProcessors("cpu0 broken\ncpu1 1 2 3 4\n").size(), 1U);
}

TEST(ProcessorsTest, TheLoadIsTheBusyShareOfTheTimeBetween) {
    EXPECT_DOUBLE_EQ(loadBetween({100, 100}, {125, 175}), 25);
    EXPECT_DOUBLE_EQ(loadBetween({100, 100}, {150, 100}), 100);
    EXPECT_DOUBLE_EQ(loadBetween({100, 100}, {101, 102}), 33.3);
}

TEST(ProcessorsTest, CountersThatStandOrRunBackwardsAreNoLoad) {
    EXPECT_DOUBLE_EQ(loadBetween({100, 100}, {100, 100}), 0);
    EXPECT_DOUBLE_EQ(loadBetween({100, 100}, {50, 120}), 0);
    EXPECT_DOUBLE_EQ(loadBetween({100, 100}, {110, 90}), 100);
}

}  // namespace
}  // namespace tarn::peers::host_monitor
