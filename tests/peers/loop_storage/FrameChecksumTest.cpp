// Frames whose bytes are not those that were written, and files of the time before there were
// checksums.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "peers/loop_storage/StorageError.h"
#include "peers/loop_storage/ring/index/Verification.h"
#include "platform/storage_wire/Checksum.h"
#include "tests/peers/loop_storage/support/FaultyDisk.h"
#include "tests/peers/loop_storage/support/TestTrack.h"

namespace tarn::test {
namespace {

using peers::loop_storage::StorageError;
using peers::loop_storage::Track;
using peers::loop_storage::verify;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::size_t slotsOffset = 4096;
constexpr std::size_t recordSize = 64;
constexpr std::size_t versionAt = 7;
constexpr std::size_t firstOfVersion2At = 48;

struct FrameChecksumTest : testing::Test {
    FrameChecksumTest() {
        track.beWriter();
        track.put(1, "one");
        track.put(2, "two");
        track.put(3, "three");
        track.reopenAfterKill();
        track.beWriter();
    }
    /// The record becomes one of another version, as a server of that time would have written it.
    static void makeVersion(std::string& file, std::size_t record, char version) {
        file[record + versionAt] = version;
        if (version == 1 && record >= slotsOffset) {
            file.replace(record + firstOfVersion2At, 12, 12, '\0');
        }
        const auto sum = storage_wire::checksum(file.data() + record, recordSize - 4);
        std::memcpy(file.data() + record + recordSize - 4, &sum, sizeof sum);
    }
    void rewriteIndex(const std::vector<std::size_t>& records, char version) {
        auto file = readFile(track.file("index"));
        for (const auto record : records) {
            makeVersion(file, record, version);
        }
        track.write("index", file);
    }
    void makeOld() {
        rewriteIndex({0, 512, 1024, 1536, 2048, 2560, slotsOffset, slotsOffset + recordSize,
                      slotsOffset + 2 * recordSize},
                     1);
    }

    TestTrack track{1000};
};

TEST_F(FrameChecksumTest, ADamagedFrameIsNotGivenOutAndTheNextOnesAre) {
    track.flipByte("data.0", 4);
    EXPECT_THAT(track.frames(), ElementsAre("1:one", "2 damaged", "3:three"));
    EXPECT_EQ(track->describe().damagedFrames, 1U);
    track.reopenAfterKill();
    EXPECT_THAT(track.frames(), ElementsAre("1:one", "2 damaged", "3:three"));
}

// Nobody but the disk makes bytes others than they were written.
TEST_F(FrameChecksumTest, WhatCameFromTheDiskIsLookedAtAlsoIfThisServerHasWrittenIt) {
    FaultyDisk disk;
    TestTrack own(1000);
    own.beWriter();
    own.put(1, "one");
    own.put(2, "two");
    own.flipByte("data.0", 4);
    EXPECT_EQ(own.frames().size(), 2U);
    EXPECT_EQ(own->describe().damagedFrames, 0U);
    disk.forgetMemory();
    EXPECT_THAT(own.frames(), ElementsAre("1:one", "2 damaged"));
}

TEST_F(FrameChecksumTest, WhoReadsByHimselfGetsTheChecksumOfWhatIsToBeLookedAt) {
    EXPECT_TRUE(track->find(0).frame.checksum);
    track.put(4, "four");
    EXPECT_FALSE(track->find(3).frame.checksum);
}

TEST_F(FrameChecksumTest, AChecksumThatTheWriterHasMadeIsKept) {
    auto frame = track->reserve(4, 4);
    frame.checksum = storage_wire::checksum("four", 4);
    track->write(frame, 0, "four");
    track->commit(frame);
    frame = track->reserve(5, 4);
    frame.checksum = 1;
    track->write(frame, 0, "five");
    track->commit(frame);
    track.reopenAfterKill();
    const auto frames = track.frames();
    EXPECT_EQ(frames[3], "4:four");
    EXPECT_EQ(frames[4], "5 damaged");
}

TEST_F(FrameChecksumTest, OneThatWasGoneOverMeanwhileIsNoDamage) {
    track->attach(Track::WorkerKind::Reader);
    track.put(4, std::string(990, 'x'));
    std::vector<char> bytes;
    EXPECT_EQ(track->read(0, bytes).result, Track::ReadResult::Overtaken);
    EXPECT_EQ(track->describe().damagedFrames, 0U);
}

TEST_F(FrameChecksumTest, AFrameThatComesInPiecesHasOneChecksum) {
    const std::string bytes(700'001, 'p');
    TestTrack large(1'000'000);
    large.beWriter();
    const auto frame = large->reserve(1, bytes.size());
    const std::string_view all = bytes;
    for (std::size_t at = 0; at < all.size(); at += 100'003) {
        large->write(frame, at, all.substr(at, 100'003));
    }
    large->commit(frame);
    EXPECT_THAT(large.frames(), ElementsAre("1:" + bytes));
    large.put(2, "after a frame that was given up");
    const auto givenUp = large->reserve(3, 10);
    large->write(givenUp, 0, "12345");
    large.put(3, "three");
    EXPECT_EQ(large.frames().back(), "3:three");
}

TEST_F(FrameChecksumTest, AResizeKeepsTheChecksums) {
    track->close();
    track->detach(Track::WorkerKind::Writer);
    track->resize(2000, [] {});
    track.flipByte("data.0", 4);
    EXPECT_THAT(track.frames(), ElementsAre("1:one", "2 damaged", "3:three"));
}

TEST_F(FrameChecksumTest, ATrackOfTheFirstVersionIsReadAndGoesOnAsOneOfToday) {
    track->close();
    makeOld();
    track.reopenAfterKill();
    EXPECT_THAT(track.frames(), ElementsAre("1:one", "2:two", "3:three"));
    track.beWriter();
    track.put(4, "four");
    track.flipByte("data.0", 4);
    track.flipByte("data.0", 12);
    track.reopenAfterKill();
    EXPECT_THAT(track.frames(),
                ElementsAre("1:one", testing::StartsWith("2:"), "3:three", "4 damaged"))
        << "what was written then has no checksum";
    EXPECT_EQ(readFile(track.file("index"))[versionAt], 2);
    EXPECT_EQ(readFile(track.file("index"))[512 + versionAt], 2);
}

TEST_F(FrameChecksumTest, AnOldFrameThatMayBeTornIsNotGivenOut) {
    track->checkpoint();
    makeOld();
    track.reopenAfterPowerCut();
    EXPECT_THAT(track.frames(), IsEmpty()) << "a ring this small may have been gone over at once";
}

TEST_F(FrameChecksumTest, AResizeKeepsOldFramesAsTheyAre) {
    track->close();
    makeOld();
    track.reopenAfterKill();
    track->resize(2000, [] {});
    track.reopenAfterKill();
    EXPECT_THAT(track.frames(), ElementsAre("1:one", "2:two", "3:three"));
}

TEST_F(FrameChecksumTest, AVersionThatIsNotKnownIsRefusedByItsNumber) {
    track->close();
    rewriteIndex({0, 512}, 3);
    try {
        track.reopenAfterKill();
        ADD_FAILURE() << "it was opened";
    } catch (const StorageError& refusal) {
        EXPECT_THAT(refusal.what(), HasSubstr("is of version 3"));
    }
    const auto before = readFile(track.file("index"));
    EXPECT_THROW(track.open(), StorageError);
    EXPECT_EQ(readFile(track.file("index")), before);
}

// ---- looking at a directory ---------------------------------------------------------------------

struct VerificationTest : FrameChecksumTest {
    std::string found;
    bool isWell(const TestTrack& which) {
        std::ostringstream out;
        const bool result = verify(which.file("").parent_path().parent_path(), track.bootId(), out);
        found = out.str();
        return result;
    }
};

TEST_F(VerificationTest, SaysThatAllIsWell) {
    EXPECT_TRUE(isWell(track));
    EXPECT_EQ(found, "track-7: 3 frames are whole, 0 are not, 0 have no checksum\n");
}

TEST_F(VerificationTest, NamesWhatIsDamagedAndChangesNothing) {
    track.flipByte("data.0", 4);
    const auto index = readFile(track.file("index"));
    EXPECT_FALSE(isWell(track));
    EXPECT_THAT(found, HasSubstr("track-7: the frame of time point 2 is damaged\n"));
    EXPECT_THAT(found, HasSubstr("track-7: 2 frames are whole, 1 are not, 0 have no checksum\n"));
    EXPECT_EQ(readFile(track.file("index")), index);
}

TEST_F(VerificationTest, CountsWhatHasNoChecksum) {
    track->close();
    makeOld();
    EXPECT_TRUE(isWell(track));
    EXPECT_THAT(found, HasSubstr("0 are not, 3 have no checksum"));
}

TEST_F(VerificationTest, SaysWhatCannotBeOpened) {
    track.write("index", "nothing");
    EXPECT_FALSE(isWell(track));
    EXPECT_THAT(found, HasSubstr("does not tell what the track is"));
}

TEST_F(VerificationTest, AFolderWithoutTracksIsAnError) {
    const TemporaryFolder empty;
    std::ostringstream out;
    EXPECT_THROW(verify(empty.path(), track.bootId(), out), std::runtime_error);
}

}  // namespace
}  // namespace tarn::test
