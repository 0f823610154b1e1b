// How much a catalogue says there is left, and what can be created then.
#include <gtest/gtest.h>

#include "peers/loop_storage/StorageError.h"
#include "peers/loop_storage/disk/DiskFile.h"
#include "peers/loop_storage/operations/Catalogue.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers::loop_storage {
namespace {

constexpr std::int64_t mebi = 1 << 20;
const std::function<void()> never = [] {};

/// On a disk of which the test says how much is left; what is created takes from it.
struct RemainingSpaceTest : testing::Test {
    void open(std::optional<std::uint64_t> capacity) {
        catalogue = std::make_unique<Catalogue>(directory, capacity, BootId{'b'},
                                                [this](const auto&) { return disk; });
    }
    bool canCreate(std::int64_t size) {
        try {
            catalogue->create(static_cast<std::uint64_t>(size), never);
            return true;
        } catch (const StorageError& error) {
            EXPECT_EQ(error.type(), TARN_STORAGE_ERROR_NO_SPACE);
            return false;
        }
    }
    std::int64_t remaining() const { return catalogue->remainingSpace(); }

    const test::LogCapture log;
    const test::TemporaryFolder folder{test::Medium::Disk};
    const std::filesystem::path directory = folder.path() / "tracks";
    DiskSpace disk{.available = 16 * mebi, .block = 4096};
    std::unique_ptr<Catalogue> catalogue;
};

TEST_F(RemainingSpaceTest, ExactlyThatCanBeCreatedAndNotAByteMore) {
    open(std::nullopt);
    EXPECT_LT(remaining(), 16 * mebi) << "an index is needed too";
    EXPECT_GT(remaining(), 15 * mebi);
    EXPECT_FALSE(canCreate(remaining() + 1));
    EXPECT_TRUE(canCreate(remaining()));
}

TEST_F(RemainingSpaceTest, TheCapacityIsWhatTheSizesOfTracksAddUpTo) {
    open(10 * mebi);
    EXPECT_EQ(remaining(), 10 * mebi);
    EXPECT_FALSE(canCreate(10 * mebi + 1));
    EXPECT_TRUE(canCreate(10 * mebi));
    EXPECT_EQ(remaining(), 0);
}

TEST_F(RemainingSpaceTest, WhatIsPlannedIsTaken) {
    open(std::nullopt);
    const auto before = remaining();
    {
        const auto plan = catalogue->plan(5 * mebi);
        EXPECT_LT(remaining(), before - 5 * mebi);
        EXPECT_GT(remaining(), before - 6 * mebi);
        const auto another = catalogue->plan(5 * mebi);
        EXPECT_LT(remaining(), before - 10 * mebi);
    }
    EXPECT_EQ(remaining(), before);
}

TEST_F(RemainingSpaceTest, WhatIsPlannedCountsInTheCapacityToo) {
    open(10 * mebi);
    const auto plan = catalogue->plan(4 * mebi);
    EXPECT_EQ(remaining(), 6 * mebi);
    catalogue->create(*plan, never);
    EXPECT_EQ(remaining(), 6 * mebi);
}

TEST_F(RemainingSpaceTest, APlanThatThereIsNoRoomForTakesNothing) {
    open(10 * mebi);
    const auto first = catalogue->plan(6 * mebi);
    const auto second = catalogue->plan(5 * mebi);
    const auto third = catalogue->plan(~0ULL);
    EXPECT_EQ(remaining(), 4 * mebi);
    EXPECT_THROW(catalogue->create(*third, never), StorageError);
    EXPECT_EQ(remaining(), 4 * mebi);
}

TEST_F(RemainingSpaceTest, WhatHasBeenTakenForATrackThatIsBeingMadeCountsOnce) {
    open(std::nullopt);
    const auto plan = catalogue->plan(5 * mebi);
    const auto planned = remaining();
    const auto takeAPart = [&] {
        const DiskFile part(directory / "making-0" / "part", DiskFile::Mode::CreateNew);
        part.allocate(2 * mebi, never);
        disk.available = 16 * mebi - takenBy(directory / "making-0");
        EXPECT_EQ(remaining(), planned);
        throw std::runtime_error("seen");
    };
    EXPECT_THROW(catalogue->create(*plan, takeAPart), std::runtime_error);
    EXPECT_LE(disk.available, 14U * mebi);
}

TEST_F(RemainingSpaceTest, ACreationThatFailsGivesItsRoomBack) {
    open(10 * mebi);
    const auto plan = catalogue->plan(4 * mebi);
    EXPECT_THROW(catalogue->create(*plan, [] { throw std::runtime_error("stop"); }),
                 std::runtime_error);
    EXPECT_EQ(remaining(), 10 * mebi);
}

TEST_F(RemainingSpaceTest, ATrackGrowsByWhatThereIsRoomFor) {
    open(std::nullopt);
    const auto track = catalogue->create(4 * mebi, never);
    disk.available = 2 * mebi;
    EXPECT_THROW(catalogue->resize(track, 6 * mebi, never), StorageError) << "and the new index?";
    EXPECT_EQ(catalogue->resize(track, 5 * mebi, never), 5U * mebi);
    disk.available = 0;
    EXPECT_EQ(catalogue->resize(track, 4 * mebi, never), 4U * mebi);
}

}  // namespace
}  // namespace tarn::peers::loop_storage
