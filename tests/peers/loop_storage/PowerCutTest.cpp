// What is left of a track when the machine has stopped.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "peers/loop_storage/ring/index/IndexFile.h"
#include "tests/peers/loop_storage/support/TestTrack.h"

namespace tarn::test {
namespace {

using peers::loop_storage::BootId;
using peers::loop_storage::IndexContent;
using peers::loop_storage::IndexFile;
using peers::loop_storage::Track;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t ringSize = 100;
constexpr std::size_t frameSize = 15;
constexpr std::size_t slotsOffset = 4096;
constexpr std::size_t recordSize = 64;

std::string lineOf(int frame) {
    return std::to_string(frame) + ":" + std::string(frameSize, static_cast<char>('a' + frame));
}

struct PowerCutTest : testing::Test {
    PowerCutTest() { track.beWriter(); }

    void put(int first, int last) {
        for (int i = first; i <= last; ++i) {
            track.put(i, std::string(frameSize, static_cast<char>('a' + i)));
        }
    }
    void keep() {
        track.keep("index");
        track.keep("data.0");
    }
    IndexContent index(const BootId& boot) { return IndexFile(track.file("index")).load(boot); }

    TestTrack track{ringSize};
};

TEST_F(PowerCutTest, WhatAKilledServerHadAcknowledgedStaysWhenTheMachineGoesDownInOrderLater) {
    put(0, 2);
    track->checkpoint();
    put(3, 8);
    const auto before = track.frames();
    track.reopenAfterKill();  // and nobody writes
    track.reopenAfterPowerCut();
    EXPECT_EQ(track.frames(), before);
    EXPECT_EQ(before.size(), 6U);
}

TEST_F(PowerCutTest, WhatIsFoundAfterAKillIsOnTheDiskBeforeAnybodyIsServed) {
    put(0, 4);
    track.reopenAfterKill();
    const auto found = index({'o', 't', 'h', 'e', 'r'});
    EXPECT_EQ(found.state, IndexContent::State::Closed);
    EXPECT_EQ(found.nextSequence, 5U);
}

TEST_F(PowerCutTest, WhatIsFoundAfterAPowerCutIsFoundByEveryLaterServer) {
    put(0, 4);
    track->checkpoint();
    put(5, 16);  // and over the first of these
    track.reopenAfterPowerCut();
    const auto found = track.frames();
    EXPECT_THAT(
        found, ElementsAre(lineOf(11), lineOf(12), lineOf(13), lineOf(14), lineOf(15), lineOf(16)));
    track.reopenAfterKill();
    EXPECT_EQ(track.frames(), found);
    track.reopenAfterPowerCut();
    EXPECT_EQ(track.frames(), found);
}

TEST_F(PowerCutTest, WhatADataFileHasLostInBetweenDoesNotCostWhatCameAfterIt) {
    put(0, 7);
    track.write("data.0", readFile(track.file("data.0")).substr(0, 4 * frameSize));
    track.reopenAfterKill();
    const auto found = track.frames();
    EXPECT_THAT(found, ElementsAre(lineOf(2), lineOf(3), lineOf(7)));
    track.reopenAfterPowerCut();
    EXPECT_EQ(track.frames(), found);
}

TEST_F(PowerCutTest, AClearingAfterAKillIsNotUndone) {
    put(0, 2);
    track->checkpoint();
    put(3, 5);
    track.reopenAfterKill();
    track->clear();
    track.reopenAfterPowerCut();
    EXPECT_THAT(track.frames(), IsEmpty());
    track.reopenAfterPowerCut();
    EXPECT_THAT(track.frames(), IsEmpty());
}

TEST_F(PowerCutTest, AClearingWhileItIsWrittenIsNotUndone) {
    put(0, 4);
    track->checkpoint();
    track->clear();
    keep();
    put(5, 6);
    track.reopenAfterPowerCutWithout({"index", "data.0"});
    EXPECT_THAT(track.frames(), IsEmpty());
}

TEST_F(PowerCutTest, AClearingOfATrackThatNobodyWritesIsNotUndone) {
    put(0, 4);
    track->close();
    track->detach(Track::WorkerKind::Writer);
    track->clear();
    keep();
    track.reopenAfterPowerCutWithout({"index", "data.0"});
    EXPECT_THAT(track.frames(), IsEmpty());
}

TEST_F(PowerCutTest, WhatWasOnTheDiskAtTheLastCheckpointIsThereHoweverSmallTheRing) {
    put(0, 4);
    track->checkpoint();
    keep();
    put(5, 5);
    track.reopenAfterPowerCutWithout({"index", "data.0"});
    EXPECT_THAT(track.frames(), ElementsAre(lineOf(0), lineOf(1), lineOf(2), lineOf(3), lineOf(4)));
    EXPECT_THAT(track->notes(), ElementsAre(testing::HasSubstr("The machine stopped")));
}

TEST_F(PowerCutTest, FramesThatReachedTheDiskByThemselvesAreThereUpToTheFirstThatDidNot) {
    put(0, 1);
    track->checkpoint();
    put(2, 5);
    track.flipByte("data.0", 4 * frameSize + 3);
    track.reopenAfterPowerCut();
    EXPECT_THAT(track.frames(), ElementsAre(lineOf(0), lineOf(1), lineOf(2), lineOf(3)));
    track.beWriter();
    put(6, 6);
    track.reopenAfterKill();
    EXPECT_THAT(track.frames(), ElementsAre(lineOf(0), lineOf(1), lineOf(2), lineOf(3), lineOf(6)));
}

TEST_F(PowerCutTest, ARingThatWentRoundSinceTheLastCheckpointIsThereIfAllOfItReachedTheDisk) {
    put(0, 1);
    track->checkpoint();
    put(2, 20);
    const auto before = track.frames();
    track.reopenAfterPowerCut();
    EXPECT_EQ(track.frames(), before);
    EXPECT_EQ(before.size(), 6U);
}

TEST_F(PowerCutTest, OfARingThatWentRoundNothingIsGivenOutThatIsNotWhole) {
    put(0, 1);
    track->checkpoint();
    put(2, 20);
    const auto lastBegins = 20 * frameSize % ringSize;
    track.flipByte("data.0", lastBegins + 1);
    track.reopenAfterPowerCut();
    EXPECT_THAT(track.frames(),
                ElementsAre(lineOf(15), lineOf(16), lineOf(17), lineOf(18), lineOf(19)));
}

TEST_F(PowerCutTest, FramesWhoseRecordsOnlyReachedTheDiskCostNoneOfThoseBefore) {
    put(0, 5);
    track->checkpoint();
    track.keep("data.0");
    put(6, 11);
    track.reopenAfterPowerCutWithout({"data.0"});
    EXPECT_THAT(track.frames(),
                ElementsAre(lineOf(0), lineOf(1), lineOf(2), lineOf(3), lineOf(4), lineOf(5)));
    track.beWriter();
    put(13, 13);
    track.reopenAfterKill();
    EXPECT_EQ(track.frames().back(), lineOf(13));
}

TEST_F(PowerCutTest, AFrameWithoutTheOneBeforeItIsNotThere) {
    put(0, 1);
    track->checkpoint();
    put(2, 4);
    track.flipByte("index", slotsOffset + 3 * recordSize + 20);
    track.reopenAfterPowerCut();
    EXPECT_THAT(track.frames(), ElementsAre(lineOf(0), lineOf(1), lineOf(2)));
}

TEST_F(PowerCutTest, OldFramesGoOnlyIfTheirBytesHaveBeenGoneOver) {
    put(0, 5);
    track->checkpoint();
    keep();
    put(6, 7);  // over the first two
    track.reopenAfterPowerCutWithout({"index"});
    EXPECT_THAT(track.frames(), ElementsAre(lineOf(2), lineOf(3), lineOf(4), lineOf(5)));
}

// The next server knows nothing of the stop any more.
TEST_F(PowerCutTest, WhatWasFoundTornStaysAway) {
    put(0, 5);
    track->checkpoint();
    keep();
    put(6, 7);
    track.reopenAfterPowerCutWithout({"index"});
    const auto found = track.frames();
    track.beWriter();
    track.reopenAfterKill();
    EXPECT_EQ(track.frames(), found);
    track.reopenAfterPowerCut();
    EXPECT_EQ(track.frames(), found);
}

TEST_F(PowerCutTest, TheOldestFrameOfALargeRingIsThereToo) {
    constexpr std::uint64_t large = 8U << 20U;
    TestTrack other(large);
    other.beWriter();
    const std::string frame(1U << 20U, 'x');
    for (int i = 0; i < 12; ++i) {
        other.put(i, frame);
    }
    other->checkpoint();
    other.keep("index");
    other.put(12, frame);
    other.reopenAfterPowerCutWithout({"index"});
    std::vector<std::string> times;
    for (const auto& line : other.frames()) {
        times.push_back(line.substr(0, line.find(':')));
    }
    EXPECT_THAT(times, ElementsAre("4", "5", "6", "7", "8", "9", "10", "11"))
        << "the bytes are the same, so nothing is torn";
}

TEST_F(PowerCutTest, AfterAnOrderlyEndNothingIsMissing) {
    put(0, 8);
    const auto before = track.frames();
    track->close();
    keep();
    track.reopenAfterPowerCutWithout({"index", "data.0"});
    EXPECT_EQ(track.frames(), before);
}

// A reader that wants what has gone is told so, whatever has happened meanwhile.
struct OvertakenTest : PowerCutTest {
    OvertakenTest() { put(0, 9); }
    void expectOvertaken(std::int64_t timePoint) {
        track->attach(Track::WorkerKind::Reader);
        std::vector<char> bytes;
        const auto begin = track->begin(Track::Origin::TimePoint, timePoint);
        EXPECT_EQ(track->read(begin, bytes).result, Track::ReadResult::Overtaken);
        track->detach(Track::WorkerKind::Reader);
    }
};

TEST_F(OvertakenTest, AfterAKill) {
    expectOvertaken(2);
    track.reopenAfterKill();
    expectOvertaken(2);
    track.reopenAfterKill();
    expectOvertaken(2);
}

TEST_F(OvertakenTest, AfterAnOrderlyEndAndAfterAPowerCut) {
    track->close();
    track.reopenAfterPowerCut();
    expectOvertaken(2);
    track.beWriter();
    track.reopenAfterPowerCut();
    expectOvertaken(2);
}

TEST_F(OvertakenTest, AfterAClearing) {
    track->clear();
    track.reopenAfterKill();
    track.beWriter();
    put(10, 10);
    expectOvertaken(8);
}

TEST_F(OvertakenTest, AfterAResize) {
    track->close();
    track->detach(Track::WorkerKind::Writer);
    track->clear();
    track->resize(200, [] {});
    track.reopenAfterKill();
    track.beWriter();
    put(10, 10);
    expectOvertaken(8);
}

TEST_F(OvertakenTest, ButNotWhoWantsWhatIsThere) {
    track.reopenAfterKill();
    EXPECT_EQ(track->begin(Track::Origin::TimePoint, 4), 4U);
}

}  // namespace
}  // namespace tarn::test
