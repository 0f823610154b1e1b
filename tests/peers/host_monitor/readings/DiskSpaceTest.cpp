#include "peers/host_monitor/readings/DiskSpace.h"

#include <gtest/gtest.h>
#include <sys/statvfs.h>

#include "tests/support/TemporaryFolder.h"

namespace tarn::peers::host_monitor {
namespace {

TEST(DiskSpaceTest, ReadsAFileSystem) {
    const tarn::test::TemporaryFolder folder;
    const auto space = readDiskSpace(folder.path());
    ASSERT_TRUE(space);
    EXPECT_GT(space->size, 0U);
    EXPECT_LE(space->used + space->free, space->size);
    struct statvfs values {};
    ASSERT_EQ(::statvfs(folder.path().c_str(), &values), 0);
    EXPECT_EQ(space->size, values.f_blocks * values.f_frsize);
    // Others write there meanwhile.
    const auto tolerance = static_cast<double>(space->size) / 50;
    EXPECT_NEAR(static_cast<double>(space->free),
                static_cast<double>(values.f_bavail * values.f_frsize), tolerance);
    EXPECT_NEAR(static_cast<double>(space->used),
                static_cast<double>((values.f_blocks - values.f_bfree) * values.f_frsize),
                tolerance);
}

TEST(DiskSpaceTest, IsNothingWhereThereIsNone) {
    EXPECT_FALSE(readDiskSpace("/does/not/exist"));
    EXPECT_FALSE(readDiskSpace("/proc"));
}

TEST(DiskSpaceTest, WhatIsKeptForTheAdministratorIsNotForUse) {
    EXPECT_DOUBLE_EQ((DiskSpace{.size = 1000, .used = 450, .free = 450}.usedPercent()), 50);
    EXPECT_DOUBLE_EQ(DiskSpace{}.usedPercent(), 0);
}

}  // namespace
}  // namespace tarn::peers::host_monitor
