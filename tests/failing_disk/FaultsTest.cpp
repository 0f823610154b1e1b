#include "tests/failing_disk/Faults.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace tarn::failing_disk {

namespace {

using namespace std::chrono_literals;

TEST(FaultsTest, FailWhatTouchesARangeOfAFile) {
    Faults faults;
    faults.add({.path = "track-1/data.0", .error = EIO, .from = 512, .to = 1024});
    const auto readOf = [&](std::uint64_t offset, std::uint64_t size) {
        return faults
            .meet({.operation = Operation::Read,
                   .path = "track-1/data.0",
                   .offset = offset,
                   .size = size})
            .error;
    };
    EXPECT_EQ(readOf(0, 512), 0);
    EXPECT_EQ(readOf(0, 513), EIO);
    EXPECT_EQ(readOf(1023, 1), EIO);
    EXPECT_EQ(readOf(1024, 1), 0);
    EXPECT_EQ(faults.met(), 2U);
}

TEST(FaultsTest, ConcernAFolderOrAFileAndOneKindOfOperation) {
    Faults faults;
    faults.add({.operation = Operation::Sync, .path = "track-1/", .error = EIO});
    faults.add({.operation = Operation::Sync, .path = "track-2/index", .error = ENOSPC});
    const auto syncOf = [&](const std::string& path) {
        return faults.meet({.operation = Operation::Sync, .path = path}).error;
    };
    EXPECT_EQ(syncOf("track-1/index"), EIO);
    EXPECT_EQ(syncOf("track-10/index"), 0);
    EXPECT_EQ(syncOf("track-2/index"), ENOSPC);
    EXPECT_EQ(syncOf("track-2/index.new"), 0);
    EXPECT_EQ(
        faults.meet({.operation = Operation::Write, .path = "track-1/index", .size = 1}).error, 0);
}

TEST(FaultsTest, HappenAsOftenAsTheySay) {
    Faults faults;
    faults.add({.operation = Operation::Sync, .error = EIO, .times = 1});
    faults.add({.operation = Operation::Sync, .delay = 5ms});
    const Faults::Access sync{.operation = Operation::Sync, .path = "a"};
    const auto first = faults.meet(sync);
    EXPECT_EQ(first.error, EIO);
    EXPECT_EQ(first.delay, 5ms);
    const auto second = faults.meet(sync);
    EXPECT_EQ(second.error, 0);
    EXPECT_EQ(second.delay, 5ms);
}

TEST(FaultsTest, AreGoneWhenCleared) {
    Faults faults;
    faults.add({.operation = Operation::Sync, .error = EIO});
    faults.clear();
    EXPECT_EQ(faults.meet({.operation = Operation::Sync, .path = "a"}).error, 0);
}

}  // namespace

}  // namespace tarn::failing_disk
