#include "peers/loop_storage/ring/Track.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "peers/loop_storage/StorageError.h"
#include "tests/peers/loop_storage/support/TestTrack.h"

namespace tarn::test {
namespace {

using peers::loop_storage::StorageError;
using peers::loop_storage::Track;
using testing::ElementsAre;
using testing::IsEmpty;

const std::function<void()> never = [] {};

std::string tens(char letter) {
    return std::string(10, letter);
}

struct TrackTest : testing::Test {
    TrackTest() { track.beWriter(); }
    TestTrack track{40};
};

TEST_F(TrackTest, GivesBackWhatWasWritten) {
    track.put(1, "one");
    track.put(2, "");
    track.put(3, "three");
    EXPECT_THAT(track.frames(), ElementsAre("1:one", "2:", "3:three"));
}

TEST_F(TrackTest, AFrameMayGoOverTheEndOfTheFile) {
    track.put(1, std::string(30, 'a'));
    track.put(2, "0123456789ABCDEF");
    EXPECT_THAT(track.frames(), ElementsAre("2:0123456789ABCDEF"));
}

TEST_F(TrackTest, TheOldestFramesGoFirst) {
    for (int i = 0; i < 9; ++i) {
        track.put(i, tens(static_cast<char>('0' + i)));
    }
    EXPECT_THAT(track.frames(), ElementsAre("5:" + tens('5'), "6:" + tens('6'), "7:" + tens('7'),
                                            "8:" + tens('8')));
}

TEST_F(TrackTest, AReaderThatIsOvertakenIsToldWhereToGoOn) {
    track.put(1, tens('a'));
    track->attach(Track::WorkerKind::Reader);
    const auto begin = track->begin(Track::Origin::Oldest, 0);
    for (int i = 2; i <= 6; ++i) {
        track.put(i, tens('b'));
    }
    std::vector<char> bytes;
    const auto reading = track->read(begin, bytes);
    EXPECT_EQ(reading.result, Track::ReadResult::Overtaken);
    EXPECT_EQ(reading.oldest, 3);
    EXPECT_EQ(track->read(reading.next, bytes).frame.timePoint, 3);
}

TEST_F(TrackTest, AFrameThatIsBeingGoneOverIsNotGivenOut) {
    for (int i = 1; i <= 4; ++i) {
        track.put(i, tens('a'));
    }
    track->reserve(5, 15);
    EXPECT_THAT(track.frames(), ElementsAre("3:" + tens('a'), "4:" + tens('a')));
}

TEST_F(TrackTest, WhoWantsATimePointThatIsGoneIsOvertaken) {
    for (int i = 1; i <= 6; ++i) {
        track.put(i, tens('a'));
    }
    std::vector<char> bytes;
    const auto begin = track->begin(Track::Origin::TimePoint, 2);
    EXPECT_EQ(track->read(begin, bytes).result, Track::ReadResult::Overtaken);
    const auto there = track->begin(Track::Origin::TimePoint, 4);
    EXPECT_EQ(track->read(there, bytes).frame.timePoint, 4);
}

TEST_F(TrackTest, TheLiveEdgeIsTheNextFrame) {
    track.put(1, "old");
    const auto begin = track->begin(Track::Origin::Live, 0);
    std::vector<char> bytes;
    EXPECT_EQ(track->read(begin, bytes).result, Track::ReadResult::NoneYet);
    int calls = 0;
    track->callWhenReadable(begin, [&] { ++calls; });
    EXPECT_EQ(calls, 0);
    track.put(2, "new");
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(track->read(begin, bytes).frame.timePoint, 2);
}

TEST_F(TrackTest, ACallThatIsCalledOffDoesNotCome) {
    int calls = 0;
    track->callOff(track->callWhenReadable(0, [&] { ++calls; }));
    track.put(1, "x");
    EXPECT_EQ(calls, 0);
}

TEST_F(TrackTest, HasOneWriterAtATime) {
    EXPECT_THROW(track->attach(Track::WorkerKind::Writer), StorageError);
    track->detach(Track::WorkerKind::Writer);
    track->attach(Track::WorkerKind::Writer);
}

TEST_F(TrackTest, ATrackInUseIsNotForExclusiveUseAndTheOtherWayRound) {
    EXPECT_THROW(track->beginExclusive("resized"), StorageError);
    track->detach(Track::WorkerKind::Writer);
    track->beginExclusive("resized");
    EXPECT_THROW(track->attach(Track::WorkerKind::Reader), StorageError);
    EXPECT_THROW(track->clear(), StorageError);
    track->endExclusive();
    track->attach(Track::WorkerKind::Reader);
}

TEST_F(TrackTest, ClearingForgetsFramesForGood) {
    track.put(5, "old");
    track->clear();
    EXPECT_THAT(track.frames(), IsEmpty());
    track.put(1, "new");
    track.reopenAfterKill();
    EXPECT_THAT(track.frames(), ElementsAre("1:new"));
    track->clear();
    track.reopenAfterKill();
    EXPECT_THAT(track.frames(), IsEmpty());
}

TEST_F(TrackTest, PropertiesAreSetReplacedAndRemoved) {
    track->setProperties({{"a", "1"}, {"b", "2"}});
    track->setProperties({{"b", "3"}});
    track->removeProperties({"a"});
    EXPECT_THAT(track->describe().properties, ElementsAre(testing::Pair("b", "3")));
    track.reopenAfterKill();
    EXPECT_THAT(track->describe().properties, ElementsAre(testing::Pair("b", "3")));
}

TEST_F(TrackTest, RemovingAPropertyThatIsNotThereRemovesNone) {
    track->setProperties({{"a", "1"}});
    EXPECT_THROW(track->removeProperties({"a", "b"}), StorageError);
    EXPECT_EQ(track->describe().properties.size(), 1U);
}

TEST_F(TrackTest, PropertiesHaveLimits) {
    EXPECT_THROW(track->setProperties({{"", "x"}}), StorageError);
    EXPECT_THROW(track->setProperties({{std::string(257, 'n'), "x"}}), StorageError);
    EXPECT_THROW(track->setProperties({{"n", std::string(65537, 'v')}}), StorageError);
    EXPECT_THROW(track->setProperties({{std::string("a\0b", 3), "x"}}), StorageError);
    for (int i = 0; i < 7; ++i) {
        track->setProperties({{"n" + std::to_string(i), std::string(65536, 'v')}});
    }
    EXPECT_THROW(track->setProperties({{"n7", std::string(65536, 'v')}}), StorageError);
    EXPECT_EQ(track->describe().properties.size(), 7U);
}

struct TrackResizeTest : TrackTest {
    std::uint64_t resize(std::uint64_t size) {
        track->detach(Track::WorkerKind::Writer);
        const auto reached = track->resize(size, never);
        track.beWriter();
        return reached;
    }
    void fillRoundTheEnd() {
        for (int i = 0; i < 6; ++i) {
            track.put(i, tens(static_cast<char>('0' + i)));
        }
    }
    std::vector<std::string> kept() const {
        return {"2:" + tens('2'), "3:" + tens('3'), "4:" + tens('4'), "5:" + tens('5')};
    }
};

TEST_F(TrackResizeTest, GrowingKeepsEveryFrameAlsoOfARingThatHasGoneRound) {
    fillRoundTheEnd();
    EXPECT_EQ(resize(100), 100U);
    EXPECT_EQ(track.frames(), kept());
    EXPECT_EQ(std::filesystem::file_size(track.file("data.1")), 100U);
    EXPECT_FALSE(std::filesystem::exists(track.file("data.0")));
    track.reopenAfterKill();
    EXPECT_EQ(track.frames(), kept());
    EXPECT_EQ(track->size(), 100U);
}

TEST_F(TrackResizeTest, ARingThatHoldsFramesShrinksAsFarAsTheyAllow) {
    track.put(1, tens('a'));
    track.put(2, tens('b'));
    EXPECT_EQ(resize(15), 20U);
    EXPECT_THAT(track.frames(), ElementsAre("1:" + tens('a'), "2:" + tens('b')));
    EXPECT_EQ(std::filesystem::file_size(track.file("data.0")), 20U);
    track.reopenAfterKill();
    EXPECT_THAT(track.frames(), ElementsAre("1:" + tens('a'), "2:" + tens('b')));
}

TEST_F(TrackResizeTest, AFullRingStaysAsItIs) {
    fillRoundTheEnd();
    EXPECT_EQ(resize(10), 40U);
    EXPECT_EQ(track.frames(), kept());
}

TEST_F(TrackResizeTest, AnEmptyRingTakesAnySize) {
    EXPECT_EQ(resize(7), 7U);
    EXPECT_EQ(resize(70), 70U);
    track.put(1, std::string(70, 'x'));
    EXPECT_EQ(track.frames().size(), 1U);
}

TEST_F(TrackResizeTest, WritingGoesOnInTheNewSize) {
    fillRoundTheEnd();
    resize(50);
    track.put(6, tens('6'));
    track.put(7, tens('7'));
    auto expected = kept();
    expected.erase(expected.begin());
    expected.push_back("6:" + tens('6'));
    expected.push_back("7:" + tens('7'));
    EXPECT_EQ(track.frames(), expected);
    track.reopenAfterKill();
    EXPECT_EQ(track.frames(), expected);
}

TEST_F(TrackResizeTest, OneThatIsStoppedLeavesTheTrackAsItWas) {
    fillRoundTheEnd();
    track->detach(Track::WorkerKind::Writer);
    EXPECT_THROW(track->resize(100, [] { throw std::runtime_error("stop"); }), std::runtime_error);
    EXPECT_EQ(track.frames(), kept());
    EXPECT_EQ(track->size(), 40U);
    EXPECT_FALSE(std::filesystem::exists(track.file("data.1")));
    EXPECT_FALSE(std::filesystem::exists(track.file("index.new")));
}

}  // namespace
}  // namespace tarn::test
