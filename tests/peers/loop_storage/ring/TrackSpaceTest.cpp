#include "peers/loop_storage/ring/TrackSpace.h"

#include <gtest/gtest.h>

#include "peers/loop_storage/disk/DiskFile.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers::loop_storage {
namespace {

constexpr std::uint64_t mebi = 1 << 20;

TEST(TrackSpaceTest, ThereIsSpaceForTheLargestTrackAndNotForAByteMore) {
    for (const std::uint64_t available :
         {1 * mebi, 16 * mebi + 1, 1000 * mebi + 4095, 7'000'000 * mebi}) {
        for (const std::uint64_t block : {512, 1000, 4096, 65536}) {
            const auto size = largestTrackIn({.available = available, .block = block});
            EXPECT_LE(spaceForTrack(size, block), available) << available << " in " << block;
            EXPECT_GT(spaceForTrack(size + 1, block), available) << available << " in " << block;
        }
    }
}

TEST(TrackSpaceTest, MoreThanDataAndIndexTakeIsCounted) {
    EXPECT_GT(spaceForTrack(1, 4096), 4096U + 4096U + 1024U * 64U);
    EXPECT_GT(spaceForTrack(1000 * mebi, 4096), 1000 * mebi + 1000 * mebi / 8192 * 64);
}

TEST(TrackSpaceTest, WithoutSpaceThereIsNone) {
    EXPECT_EQ(largestTrackIn({.available = 0}), 0U);
    EXPECT_EQ(largestTrackIn({.available = 4096}), 0U);
}

TEST(TrackSpaceTest, OfAnEndlessDiskALargestTrackIsMade) {
    EXPECT_EQ(largestTrackIn({.available = ~0ULL}), largestTrack);
}

TEST(TrackSpaceTest, ABlockMoreIsABlockMoreOfGrowth) {
    EXPECT_EQ(spaceForGrowth(4096, 8192, 4096), spaceForGrowth(1, 4097, 4096));
    EXPECT_GT(spaceForGrowth(4096, 8193, 4096), spaceForGrowth(4096, 8192, 4096));
}

TEST(TrackSpaceTest, WhatFilesHaveTakenIsSeenBeforeAnythingIsWritten) {
    const test::TemporaryFolder folder{test::Medium::Disk};
    EXPECT_EQ(takenBy(folder.path()), 0U);
    EXPECT_EQ(takenBy(folder.path() / "nothing"), 0U);
    DiskFile(folder.path() / "data", DiskFile::Mode::CreateNew).allocate(3 * mebi, [] {});
    EXPECT_GE(takenBy(folder.path()), 3 * mebi);
    EXPECT_LT(takenBy(folder.path()), 4 * mebi);
}

}  // namespace
}  // namespace tarn::peers::loop_storage
