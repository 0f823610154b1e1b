#include "peers/host_monitor/readings/MemoryInfo.h"

#include <gtest/gtest.h>

namespace tarn::peers::host_monitor {
namespace {

TEST(MemoryInfoTest, ReadsTotalAndAvailableInBytes) {
    const auto memory = parseMemoryInfo(
        "MemTotal:       24684084 kB\nMemFree:        18135244 kB\n"
        "MemAvailable:   21327936 kB\nHugePages_Total:       0\n");
    ASSERT_TRUE(memory);
    EXPECT_EQ(memory->total, 24684084ULL * 1024);
    EXPECT_EQ(memory->available, 21327936ULL * 1024);
}

TEST(MemoryInfoTest, NeverHasMoreAvailableThanThereIs) {
    EXPECT_EQ(parseMemoryInfo("MemTotal: 10 kB\nMemAvailable: 12 kB")->available, 10240U);
}

TEST(MemoryInfoTest, IsWhatCanBeCountedInBytes) {
    EXPECT_EQ(parseMemoryInfo("MemTotal: 18014398509481983 kB\nMemAvailable: 1 kB")->total,
              18014398509481983U * 1024);
    EXPECT_FALSE(parseMemoryInfo("MemTotal: 18014398509481984 kB\nMemAvailable: 1 kB"));
}

TEST(MemoryInfoTest, IsNothingWithoutBoth) {
    for (const char* text :
         {"", "MemTotal: 10 kB", "MemAvailable: 10 kB", "MemTotal: 0 kB\nMemAvailable: 0 kB",
          "MemTotal: x kB\nMemAvailable: 1 kB", "MemTotal:\nMemAvailable: 1 kB",
          "MemTotal: 18446744073709551615 kB\nMemAvailable: 1 kB"}) {
        EXPECT_FALSE(parseMemoryInfo(text)) << text;
    }
}

}  // namespace
}  // namespace tarn::peers::host_monitor
