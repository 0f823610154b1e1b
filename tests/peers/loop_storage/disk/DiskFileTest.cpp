#include "peers/loop_storage/disk/DiskFile.h"

#include <gtest/gtest.h>

#include "peers/loop_storage/ring/TrackSpace.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers::loop_storage {
namespace {

constexpr std::uint64_t mebi = 1 << 20;

struct DiskFileTest : testing::Test {
    const test::TemporaryFolder folder{test::Medium::Disk};
    const DiskFile file{folder.path() / "file", DiskFile::Mode::CreateNew};
    int checks = 0;
    const std::function<void()> count = [this] { ++checks; };
};

int hasNoSuchCall(int, std::uint64_t, std::uint64_t) {
    return EOPNOTSUPP;
}

int isFull(int, std::uint64_t, std::uint64_t) {
    return ENOSPC;
}

TEST_F(DiskFileTest, WhatIsAllocatedHasItsPlaceOnTheDisk) {
    file.allocate(10 * mebi + 1, count);
    EXPECT_EQ(file.size(), 10 * mebi + 1);
    EXPECT_GE(takenBy(folder.path()), 10 * mebi + 1);
    EXPECT_GE(checks, 1);
}

TEST_F(DiskFileTest, WithoutThatCallZerosAreWritten) {
    file.writeAt(0, "abc", 3);
    file.allocate(10 * mebi + 1, count, hasNoSuchCall);
    EXPECT_EQ(file.size(), 10 * mebi + 1);
    EXPECT_GE(takenBy(folder.path()), 10 * mebi + 1);
    std::string bytes(10 * mebi + 1, 'x');
    file.readAt(0, bytes.data(), bytes.size());
    EXPECT_EQ(bytes, "abc" + std::string(10 * mebi - 2, '\0'));
}

TEST_F(DiskFileTest, WritingZerosCanBeStoppedAllTheTime) {
    file.allocate(40 * mebi, count, hasNoSuchCall);
    EXPECT_GE(checks, 10);
    const auto stop = [] { throw std::runtime_error("stop"); };
    EXPECT_THROW(file.allocate(80 * mebi, stop, hasNoSuchCall), std::runtime_error);
}

TEST_F(DiskFileTest, AFullDiskIsAnErrorThatNamesTheFile) {
    try {
        file.allocate(mebi, count, isFull);
        FAIL();
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::no_space_on_device);
        EXPECT_EQ(std::string(error.what())
                      .find("Cannot get disk space for " + (folder.path() / "file").string()),
                  0U);
    }
}

TEST_F(DiskFileTest, AFileThatIsLargeEnoughStaysAsItIs) {
    file.allocate(3, count);
    file.allocate(2, count, isFull);
    EXPECT_EQ(file.size(), 3U);
}

}  // namespace
}  // namespace tarn::peers::loop_storage
