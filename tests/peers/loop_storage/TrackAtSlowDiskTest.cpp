// Who asks what a track is, or reads what is in memory, never waits for its disk.
#include <gtest/gtest.h>

#include <functional>
#include <future>

#include "tests/peers/loop_storage/support/FaultyDisk.h"
#include "tests/peers/loop_storage/support/TestTrack.h"

namespace tarn::test {
namespace {

using Operation = FaultyDisk::Operation;
using peers::loop_storage::Track;

constexpr std::uint64_t ringSize = 4 << 20;

struct TrackAtSlowDiskTest : testing::Test {
    TrackAtSlowDiskTest() {
        track.beWriter();
        track.put(1, "frame");
        track->attach(Track::WorkerKind::Reader);
    }

    /// Runs the work until it hangs at the disk, and looks whether the track is still there for
    /// others.
    void expectServedDuring(Operation operation, const std::string& file,
                            const std::function<void()>& work) {
        disk.hang(operation, file);
        auto under = std::async(std::launch::async, work);
        ASSERT_TRUE(disk.waitUntilHanging(1));
        auto others = std::async(std::launch::async, [this] { lookAtAll(); });
        EXPECT_EQ(others.wait_for(std::chrono::seconds(30)), std::future_status::ready);
        disk.mend();
        under.get();
        others.get();
    }
    void lookAtAll() {
        EXPECT_EQ(track->size(), ringSize);
        EXPECT_EQ(track->describe().properties.size(), 0U);
        track->needsCheckpoint(Track::Need::Committed);
        track->mustWaitToReserve(1);
        track->attach(Track::WorkerKind::Reader);
        track->share();
        std::vector<char> bytes;
        const auto begin = track->begin(Track::Origin::Live, 0);
        EXPECT_EQ(track->readFromMemory(begin, bytes).result, Track::ReadResult::NoneYet);
        track->callOff(track->callWhenReadable(begin, [] {}));
        track->detach(Track::WorkerKind::Reader);
    }

    FaultyDisk disk;
    TestTrack track{ringSize};
};

TEST_F(TrackAtSlowDiskTest, WhileAPlaceIsReserved) {
    expectServedDuring(Operation::Write, "index", [this] { track->reserve(2, 10); });
}

TEST_F(TrackAtSlowDiskTest, WhileAFrameIsWritten) {
    const auto frame = track->reserve(2, 5);
    expectServedDuring(Operation::Write, "data.0", [&] { track->write(frame, 0, "bytes"); });
}

TEST_F(TrackAtSlowDiskTest, WhileAFrameIsCommitted) {
    const auto frame = track->reserve(2, 5);
    track->write(frame, 0, "bytes");
    expectServedDuring(Operation::Write, "index", [&] { track->commit(frame); });
    EXPECT_EQ(track->describe().newest, 2);
}

TEST_F(TrackAtSlowDiskTest, WhileItIsCleared) {
    expectServedDuring(Operation::Write, "index", [this] { track->clear(); });
    EXPECT_EQ(track->describe().newest, std::nullopt);
}

TEST_F(TrackAtSlowDiskTest, WhileItIsBroughtToTheDisk) {
    expectServedDuring(Operation::Sync, "data.0", [this] { track->checkpoint(); });
    expectServedDuring(Operation::Sync, "index", [this] { track->checkpoint(); });
}

TEST_F(TrackAtSlowDiskTest, WhilePropertiesAreWritten) {
    expectServedDuring(Operation::Sync, "properties", [this] { track->setProperties({}); });
}

TEST_F(TrackAtSlowDiskTest, WhileItsFilesAreOpened) {
    track->detach(Track::WorkerKind::Reader);
    track->detach(Track::WorkerKind::Writer);
    disk.hang(Operation::Open, "data.0");
    auto attaching =
        std::async(std::launch::async, [this] { track->attach(Track::WorkerKind::Reader); });
    ASSERT_TRUE(disk.waitUntilHanging(1));
    EXPECT_EQ(track->describe().newest, 1);
    EXPECT_THROW(track->beginExclusive("destroyed"), std::runtime_error)
        << "it is being attached to";
    disk.mend();
    attaching.get();
}

// Both choose the next sequence number, whose slot in the index is one.
TEST_F(TrackAtSlowDiskTest, AClearingAndAFrameDoNotMeetInOneSlot) {
    const auto frame = track->reserve(2, 5);
    track->write(frame, 0, "bytes");
    disk.hang(Operation::Write, "index");
    auto clearing = std::async(std::launch::async, [this] { track->clear(); });
    ASSERT_TRUE(disk.waitUntilHanging(1));
    auto committing = std::async(std::launch::async, [&] { track->commit(frame); });
    disk.mend();
    clearing.get();
    committing.get();
    track->detach(Track::WorkerKind::Reader);
    EXPECT_EQ(track.frames(), std::vector<std::string>{"2:bytes"});
    track->detach(Track::WorkerKind::Writer);
    track.reopenAfterKill();
    EXPECT_EQ(track.frames(), std::vector<std::string>{"2:bytes"});
}

TEST_F(TrackAtSlowDiskTest, SaysBeforehandWhenAFrameHasToWaitForTheDisk) {
    EXPECT_FALSE(track->mustWaitToReserve(1000));
    track.put(2, std::string(900'000, 'x'));
    EXPECT_TRUE(track->mustWaitToReserve(200'000));
    EXPECT_FALSE(track->mustWaitToReserve(1000));
    track->checkpoint();
    EXPECT_FALSE(track->mustWaitToReserve(200'000));
}

TEST_F(TrackAtSlowDiskTest, WhatIsNotInMemoryIsNotRead) {
    std::vector<char> bytes;
    EXPECT_EQ(track->readFromMemory(0, bytes).result, Track::ReadResult::Frame);
    disk.forgetMemory();
    EXPECT_EQ(track->readFromMemory(0, bytes).result, Track::ReadResult::OnDisk);
    EXPECT_EQ(track->read(0, bytes).result, Track::ReadResult::Frame);
}

}  // namespace
}  // namespace tarn::test
