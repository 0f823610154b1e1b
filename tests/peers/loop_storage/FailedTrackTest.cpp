// A disk that does not take what it is given.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <system_error>

#include "peers/loop_storage/StorageError.h"
#include "peers/loop_storage/ring/index/IndexFile.h"
#include "tests/peers/loop_storage/support/FaultyDisk.h"
#include "tests/peers/loop_storage/support/TestTrack.h"

namespace tarn::test {
namespace {

using peers::loop_storage::IndexContent;
using peers::loop_storage::IndexFile;
using peers::loop_storage::StorageError;
using peers::loop_storage::Track;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Operation = FaultyDisk::Operation;

struct FailedTrackTest : testing::Test {
    FailedTrackTest() {
        track.beWriter();
        track.put(1, "one");
        track->checkpoint();
        track.put(2, "two");
    }
    void failSync(const std::string& file = "data.0") {
        disk.fail(Operation::Sync, file, EIO);
        EXPECT_THROW(track->checkpoint(), std::system_error);
        disk.mend();
    }
    std::string failure() { return track->describe().failure; }
    /// What would be certain if the machine stopped now.
    std::uint64_t claimed() {
        const auto content = IndexFile(track.file("index")).load({'o', 't', 'h', 'e', 'r'});
        return content.state == IndexContent::State::Doubtful ? content.certain.sequence
                                                              : content.nextSequence;
    }

    FaultyDisk disk;
    TestTrack track{1000};
};

TEST_F(FailedTrackTest, AFailedSyncFailsTheTrackForGood) {
    EXPECT_THAT(failure(), IsEmpty());
    failSync();
    EXPECT_THAT(failure(), HasSubstr("Input/output error"));
    EXPECT_THAT(failure(), HasSubstr("data.0"));
    EXPECT_THROW(track->reserve(3, 5), StorageError);
    EXPECT_THROW(track->checkpoint(), StorageError);
    EXPECT_THROW(track->flush(1), StorageError);
    track->detach(Track::WorkerKind::Writer);
    EXPECT_THROW(track->attach(Track::WorkerKind::Writer), StorageError);
    EXPECT_THROW(track->resize(2000, [] {}), StorageError);
}

TEST_F(FailedTrackTest, NoLaterCheckpointClaimsTheFrames) {
    ASSERT_EQ(claimed(), 1U);
    failSync();
    track->checkpointIfNeeded(Track::Need::Committed);
    track->checkpointIfNeeded(Track::Need::Urgent);
    track->close();
    EXPECT_EQ(claimed(), 1U);
    track.reopenAfterKill();
    EXPECT_EQ(claimed(), 1U);
}

TEST_F(FailedTrackTest, ItStaysFailedAfterARestart) {
    failSync();
    track.reopenAfterKill();
    EXPECT_THAT(failure(), HasSubstr("Input/output error"));
    EXPECT_THAT(track->notes(), ElementsAre(HasSubstr("must be cleared")));
    EXPECT_THROW(track->attach(Track::WorkerKind::Writer), StorageError);
}

TEST_F(FailedTrackTest, ItIsRead) {
    failSync();
    EXPECT_THAT(track.frames(), ElementsAre("1:one", "2:two"));
    track.reopenAfterKill();
    EXPECT_THAT(track.frames(), ElementsAre("1:one", "2:two"));
}

TEST_F(FailedTrackTest, ClearingMakesItSound) {
    failSync();
    track->detach(Track::WorkerKind::Writer);
    track->clear();
    EXPECT_THAT(failure(), IsEmpty());
    EXPECT_THAT(track.frames(), IsEmpty());
    track.beWriter();
    track.put(3, "three");
    track->checkpoint();
    track.reopenAfterPowerCut();
    EXPECT_THAT(failure(), IsEmpty());
    EXPECT_THAT(track.frames(), ElementsAre("3:three"));
}

TEST_F(FailedTrackTest, WhatWasClearedDoesNotComeBack) {
    failSync();
    track->clear();
    track.reopenAfterPowerCut();
    EXPECT_THAT(track.frames(), IsEmpty());
}

// What it had under way may lie on pages that the kernel has given up.
TEST_F(FailedTrackTest, ItsWriterHasFailedEvenIfItIsCleared) {
    const auto frame = track->reserve(3, 5);
    failSync();
    track->clear();
    EXPECT_THROW(track->write(frame, 0, "three"), StorageError);
    EXPECT_THROW(track->commit(frame), StorageError);
    EXPECT_THROW(track->reserve(4, 5), StorageError);
    track->detach(Track::WorkerKind::Writer);
    track.beWriter();
    track.put(3, "three");
    EXPECT_THAT(track.frames(), ElementsAre("3:three"));
}

TEST_F(FailedTrackTest, AClearingThatFailsLeavesItFailed) {
    failSync();
    disk.fail(Operation::Sync, "index", EIO);
    EXPECT_THROW(track->clear(), std::system_error);
    disk.mend();
    EXPECT_THAT(failure(), HasSubstr("data.0"));
    disk.fail(Operation::Sync, "data.0", EIO);
    EXPECT_THROW(track->clear(), std::system_error);
    disk.mend();
    track.reopenAfterKill();
    EXPECT_THAT(failure(), HasSubstr("data.0"));
    track->clear();
    EXPECT_THAT(failure(), IsEmpty());
}

TEST_F(FailedTrackTest, AnAttachedReaderGoesOnAfterTheClearing) {
    track->attach(Track::WorkerKind::Reader);
    failSync();
    track->detach(Track::WorkerKind::Writer);
    track->clear();
    track.beWriter();
    track.put(3, "three");
    std::vector<char> bytes;
    const auto reading = track->read(2, bytes);
    EXPECT_EQ(reading.result, Track::ReadResult::Overtaken);
    EXPECT_EQ(track->read(reading.next, bytes).frame.timePoint, 3);
}

TEST_F(FailedTrackTest, ASyncOfTheIndexThatFailsFailsItToo) {
    failSync("index");
    EXPECT_THAT(failure(), HasSubstr("index"));
}

TEST_F(FailedTrackTest, ARecordThatIsNotTakenFailsIt) {
    const auto frame = track->reserve(3, 5);
    track->write(frame, 0, "three");
    disk.fail(Operation::Write, "index", EIO);
    EXPECT_THROW(track->commit(frame), std::system_error);
    disk.mend();
    EXPECT_THAT(failure(), HasSubstr("write to"));
    EXPECT_THAT(track.frames(), ElementsAre("1:one", "2:two"));
}

TEST_F(FailedTrackTest, ALimitThatIsNotTakenFailsIt) {
    disk.fail(Operation::Write, "index", ENOSPC);
    EXPECT_THROW(track->reserve(3, 5), std::system_error);
    disk.mend();
    EXPECT_THAT(failure(), HasSubstr("No space left"));
}

TEST_F(FailedTrackTest, BytesThatAreNotTakenCostTheFrameOnly) {
    const auto frame = track->reserve(3, 5);
    disk.fail(Operation::Write, "data.0", ENOSPC);
    EXPECT_THROW(track->write(frame, 0, "three"), std::system_error);
    disk.mend();
    EXPECT_THAT(failure(), IsEmpty());
    track.put(3, "again");
    EXPECT_THAT(track.frames(), ElementsAre("1:one", "2:two", "3:again"));
}

TEST_F(FailedTrackTest, AClearingWhoseSyncFailsFailsIt) {
    disk.fail(Operation::Sync, "index", EIO);
    EXPECT_THROW(track->clear(), std::system_error);
    disk.mend();
    EXPECT_THAT(failure(), HasSubstr("index"));
}

TEST_F(FailedTrackTest, ATrackThatCannotBeBroughtToTheDiskAfterAKillHasFailed) {
    disk.fail(Operation::Sync, "data.0", EIO);
    track.reopenAfterKill();
    disk.mend();
    EXPECT_THAT(failure(), HasSubstr("Input/output error"));
    EXPECT_THAT(track.frames(), ElementsAre("1:one", "2:two"));
    EXPECT_EQ(claimed(), 1U);
}

/// Folders cannot be synced while it says so.
struct FolderDisk : FaultyDisk {
    int syncFolder(int folder) override {
        atFolder();
        errno = EIO;
        return folderFails ? -1 : FaultyDisk::syncFolder(folder);
    }
    bool folderFails = false;
    std::function<void()> atFolder = [] {};
};

TEST(FailedResizeTest, AResizeWhoseLastStepFailsLeavesATrackThatCanBeReadAndCleared) {
    FolderDisk disk;
    TestTrack track(40);
    track.beWriter();
    for (int i = 1; i <= 6; ++i) {
        track.put(i, "0123456789");
    }
    const auto before = track.frames();
    track->close();
    track->detach(Track::WorkerKind::Writer);
    // In the first of its two looks at the folder only the data is new.
    EXPECT_THROW(track->resize(100, [&] { disk.folderFails = true; }), std::system_error);
    EXPECT_THAT(track->describe().failure, IsEmpty());
    disk.folderFails = false;
    EXPECT_EQ(track->size(), 40U);
    EXPECT_EQ(track.frames(), before);

    int looks = 0;
    disk.atFolder = [&] { disk.folderFails = ++looks == 2; };
    EXPECT_THROW(track->resize(100, [] {}), std::system_error);
    disk.atFolder = [] {};
    disk.folderFails = false;
    EXPECT_EQ(track->size(), 100U);
    EXPECT_EQ(track.frames(), before);
    EXPECT_THAT(track->describe().failure, HasSubstr("sync"));
    EXPECT_TRUE(std::filesystem::exists(track.file("data.0"))) << "the old index may come back";
    track.reopenAfterKill();
    EXPECT_EQ(track.frames(), before);
    track->clear();
    EXPECT_THAT(track->describe().failure, IsEmpty());
}

// ---- syncs that are shared ----------------------------------------------------------------------

TEST_F(FailedTrackTest, WhatIsOnTheDiskAlreadyIsNotBroughtThereAgain) {
    track.put(3, "three");
    const auto before = disk.done(Operation::Sync, "data.0");
    track->flush(track->nextSequence());
    track->flush(1);
    track->flush(2);
    track->flush(track->nextSequence());
    EXPECT_EQ(disk.done(Operation::Sync, "data.0"), before + 1);
    EXPECT_EQ(claimed(), 3U);
    track.put(4, "four");
    track->flush(track->nextSequence());
    EXPECT_EQ(disk.done(Operation::Sync, "data.0"), before + 2);
}

}  // namespace
}  // namespace tarn::test
