#include "peers/host_monitor/DiskSpace.h"

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.h"

namespace tarn::peers::host_monitor {
namespace {

TEST(DiskSpace, ReadsAFileSystem) {
    const tarn::test::TemporaryFolder folder;
    const auto space = readDiskSpace(folder.path());
    ASSERT_TRUE(space);
    EXPECT_GT(space->size, 0U);
    EXPECT_LE(space->used + space->free, space->size);
}

TEST(DiskSpace, IsNothingWhereThereIsNone) {
    EXPECT_FALSE(readDiskSpace("/does/not/exist"));
    EXPECT_FALSE(readDiskSpace("/proc"));
}

TEST(DiskSpace, WhatIsKeptForTheAdministratorIsNotForUse) {
    EXPECT_DOUBLE_EQ((DiskSpace{.size = 1000, .used = 450, .free = 450}.usedPercent()), 50);
    EXPECT_DOUBLE_EQ(DiskSpace{}.usedPercent(), 0);
}

}  // namespace
}  // namespace tarn::peers::host_monitor
