#include "tests/storage_sequences/TrackModel.h"

#include <gmock/gmock.h>

#include "tests/storage_sequences/FrameBytes.h"

namespace tarn::storage_sequences {

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using Frame = TrackModel::Frame;
using Found = TrackModel::Found;
using Loss = TrackModel::Loss;
using When = TrackModel::When;

constexpr std::uint64_t ringSize = 1000;
constexpr std::uint64_t frameSize = 100;

/// A track that holds the frames from `first` to `last`.
Found holding(std::int64_t first, std::int64_t last, std::uint64_t size = ringSize) {
    Found found{.size = size, .frames = std::vector<Frame>()};
    for (auto timePoint = first; timePoint <= last; ++timePoint) {
        found.frames->push_back({.timePoint = timePoint, .size = frameSize});
    }
    if (first <= last) {
        found.oldest = first;
        found.newest = last;
    }
    return found;
}

const Found empty = holding(1, 0);

class TrackModelTest : public testing::Test {
  protected:
    void send(int frames) {
        for (int n = 0; n < frames; ++n) {
            track.sent(frameSize);
        }
    }
    std::vector<std::string> compare(const Found& found, When when = When::AtStart) {
        return track.compare(found, when);
    }

    TrackModel track{7, ringSize};
};

TEST_F(TrackModelTest, KeepsWhatWasAcknowledgedAfterAKill) {
    send(4);
    track.acknowledged();
    send(2);
    track.lost(Loss::Server);
    EXPECT_THAT(TrackModel(track).compare(holding(1, 4), When::AtStart), IsEmpty());
    EXPECT_THAT(TrackModel(track).compare(holding(1, 5), When::AtStart), IsEmpty());
    EXPECT_THAT(compare(holding(1, 3)),
                Contains("track 7: frame 4 is lost; the newest is frame 3"));
}

TEST_F(TrackModelTest, KeepsWhatIsDurableAfterALossOfPower) {
    send(4);
    track.durable();
    send(2);
    track.acknowledged();
    track.lost(Loss::Power);
    EXPECT_THAT(TrackModel(track).compare(holding(1, 4), When::AtStart), IsEmpty());
    EXPECT_THAT(TrackModel(track).compare(holding(1, 6), When::AtStart), IsEmpty());
    EXPECT_THAT(compare(empty), Contains(HasSubstr("frame 4 is lost; the newest is nothing")));
}

TEST_F(TrackModelTest, HasLostForGoodWhatWasSeenToBeLost) {
    send(6);
    track.lost(Loss::Server);
    EXPECT_THAT(compare(holding(1, 2)), IsEmpty());
    EXPECT_THAT(compare(holding(1, 3)), Contains(HasSubstr("frame 3 is read, and was cleared")));
}

TEST_F(TrackModelTest, KeepsWhatAServerHasFoundAtItsStart) {
    send(3);
    track.lost(Loss::Server);
    EXPECT_THAT(compare(holding(1, 3)), IsEmpty());
    track.lost(Loss::Power);
    EXPECT_THAT(compare(holding(1, 2)), Contains(HasSubstr("frame 3 is lost")));
}

TEST_F(TrackModelTest, MayMissTheOldestOnesThatHaveNoRoomBesideWhatWasSent) {
    send(12);
    track.acknowledged();
    send(1);
    EXPECT_THAT(TrackModel(track).compare(holding(4, 13), When::AtStart), IsEmpty());
    EXPECT_THAT(TrackModel(track).compare(holding(3, 12), When::AtStart), IsEmpty());
    EXPECT_THAT(compare(holding(5, 13)),
                Contains("track 7: frame 4 has room and is lost; the oldest is frame 5"));
}

TEST_F(TrackModelTest, MayBeWhatItWasBeforeTheRingWentOverItsOldestOnes) {
    send(4);
    track.durable();
    send(8);
    track.acknowledged();
    EXPECT_THAT(compare(holding(3, 12), When::Running), IsEmpty());
    track.lost(Loss::Power);
    EXPECT_THAT(TrackModel(track).compare(holding(1, 4), When::AtStart), IsEmpty());
    EXPECT_THAT(compare(holding(3, 12)), IsEmpty());
    EXPECT_THAT(compare(holding(2, 12)), Contains(HasSubstr("frame 2 was cleared")));
}

TEST_F(TrackModelTest, HasNoMoreFramesThanAnyTrackHasRecordsFor) {
    TrackModel large(8, 1'000'000);
    for (int n = 0; n < 1030; ++n) {
        large.sent(1);
    }
    large.acknowledged();
    Found found{.size = 1'000'000, .oldest = 7, .newest = 1030};
    EXPECT_THAT(TrackModel(large).compare(found, When::Running), IsEmpty());
    found.oldest = 8;
    EXPECT_THAT(large.compare(found, When::Running), Contains(HasSubstr("frame 7 has room")));
}

TEST_F(TrackModelTest, MissesNoneInTheMiddleAndHasNoneTorn) {
    send(3);
    track.acknowledged();
    auto found = holding(1, 3);
    found.frames->erase(found.frames->begin() + 1);
    EXPECT_THAT(TrackModel(track).compare(found, When::Running),
                Contains("track 7: frame 2 is missing in the middle"));
    found = holding(1, 3);
    found.frames->at(1).isWhole = false;
    EXPECT_THAT(compare(found, When::Running), Contains("track 7: frame 2 is torn"));
}

TEST_F(TrackModelTest, IsNotClearedHalf) {
    send(3);
    track.acknowledged();
    track.clearing();
    EXPECT_THAT(TrackModel(track).compare(empty, When::AtStart), IsEmpty());
    EXPECT_THAT(TrackModel(track).compare(holding(1, 3), When::AtStart), IsEmpty());
    EXPECT_THAT(compare(holding(1, 2)), Contains(HasSubstr("frame 3 is lost")));
}

TEST_F(TrackModelTest, StaysCleared) {
    send(3);
    track.clearing();
    track.cleared();
    track.lost(Loss::Power);
    EXPECT_THAT(TrackModel(track).compare(empty, When::AtStart), IsEmpty());
    EXPECT_THAT(compare(holding(2, 3)), Contains(HasSubstr("frame 2 was cleared")));
}

TEST_F(TrackModelTest, HasTheOldSizeOrTheNew) {
    track.resizing(3000);
    EXPECT_THAT(TrackModel(track).compare(holding(1, 0, 3000), When::AtStart), IsEmpty());
    EXPECT_THAT(TrackModel(track).compare(empty, When::AtStart), IsEmpty());
    EXPECT_THAT(TrackModel(track).compare(holding(1, 0, 2000), When::AtStart),
                Contains(HasSubstr("has 2000 bytes instead of 1000 or 3000")));
    track.resizing(300);
    EXPECT_THAT(compare(holding(1, 0, 400)), IsEmpty()) << "as small as its frames allow";
    track.resizing(3000);
    track.resized(3000);
    EXPECT_THAT(compare(empty), Contains(HasSubstr("instead of 3000")));
}

TEST_F(TrackModelTest, HasTheOldPropertiesOrTheNew) {
    track.changing({{"a", "1"}});
    track.changed();
    track.changing({{"a", "2"}});
    auto found = empty;
    EXPECT_THAT(TrackModel(track).compare(found, When::AtStart),
                Contains(HasSubstr("has 0 properties")));
    found.properties = {{"a", "1"}};
    EXPECT_THAT(TrackModel(track).compare(found, When::AtStart), IsEmpty());
    found.properties = {{"a", "2"}};
    EXPECT_THAT(compare(found), IsEmpty());
    track.changing({});
    track.nothingChanged();
    EXPECT_THAT(compare(empty), Contains(HasSubstr("has 0 properties")));
}

TEST_F(TrackModelTest, MayMissAnythingThatIsNotDurableWhereTheDiskHasFailed) {
    send(2);
    track.durable();
    send(4);
    track.acknowledged();
    track.diskFailed();
    auto found = holding(1, 6);
    found.frames->erase(found.frames->begin() + 3);
    EXPECT_THAT(TrackModel(track).compare(found, When::AtStart), IsEmpty());
    EXPECT_THAT(TrackModel(track).compare(holding(1, 2), When::AtStart), IsEmpty());
    found.frames->erase(found.frames->begin() + 1);
    EXPECT_THAT(TrackModel(track).compare(found, When::AtStart),
                Contains(HasSubstr("frame 2 is missing")));
    EXPECT_THAT(compare(holding(1, 1)), Contains(HasSubstr("frame 2 is lost")));
}

TEST(FrameBytesTest, TellOneFrameFromAnother) {
    const auto bytes = frameBytes(1, 2, 5000);
    EXPECT_TRUE(isWholeFrame(1, 2, bytes));
    EXPECT_FALSE(isWholeFrame(1, 3, bytes));
    EXPECT_FALSE(isWholeFrame(2, 2, bytes));
    EXPECT_FALSE(isWholeFrame(1, 2, bytes.substr(0, 4999)));
    auto torn = bytes;
    torn.replace(512, 512, frameBytes(1, 1, 5000), 512, 512);
    EXPECT_FALSE(isWholeFrame(1, 2, torn));
}

}  // namespace

}  // namespace tarn::storage_sequences
