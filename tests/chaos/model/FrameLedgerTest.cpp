#include "tests/chaos/model/FrameLedger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarn::chaos {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t written = 100;

std::vector<FrameLedger::Found> frames(std::int64_t first, std::int64_t last) {
    std::vector<FrameLedger::Found> found;
    for (auto timePoint = first; timePoint <= last; ++timePoint) {
        found.push_back({timePoint, true});
    }
    return found;
}

std::uint64_t bytes(std::int64_t first, std::int64_t last) {
    std::uint64_t sum = 0;
    for (auto timePoint = first; timePoint <= last; ++timePoint) {
        sum += FrameLedger::sizeOf(timePoint);
    }
    return sum;
}

/// A hundred frames were sent, all but the last two acknowledged, into a ring with room for exactly
/// the newest twenty.
struct FrameLedgerTest : testing::Test {
    FrameLedger ledger{bytes(81, written)};

    FrameLedgerTest() {
        ledger.sent(written);
        ledger.acknowledged(98);
    }
};

TEST_F(FrameLedgerTest, FramesAreAsLargeAndAsDifferentAsTheirTimePointsSay) {
    for (std::int64_t timePoint = 1; timePoint < 1000; ++timePoint) {
        const auto content = FrameLedger::bytesOf(timePoint);
        EXPECT_EQ(content.size(), FrameLedger::sizeOf(timePoint));
        EXPECT_GE(content.size(), 1024U);
        EXPECT_TRUE(FrameLedger::isFrame(timePoint, content.data(), content.size()));
        EXPECT_FALSE(FrameLedger::isFrame(timePoint + 1, content.data(), content.size()));
        EXPECT_FALSE(FrameLedger::isFrame(timePoint, content.data(), content.size() - 1));
    }
    auto torn = FrameLedger::bytesOf(7);
    torn.back() = static_cast<char>(torn.back() + 1);
    EXPECT_FALSE(FrameLedger::isFrame(7, torn.data(), torn.size()));
}

TEST_F(FrameLedgerTest, WhatHasRoomAndWasAcknowledgedMustBeThere) {
    EXPECT_THAT(ledger.problemsWith(frames(81, 98)), IsEmpty());
    EXPECT_THAT(ledger.problemsWith(frames(82, 98)),
                ElementsAre("frame 81 has room and is lost; the oldest is frame 82"));
    EXPECT_THAT(ledger.problemsWith(frames(81, 97)),
                ElementsAre("frame 98 was acknowledged and is lost; the newest is frame 97"));
    EXPECT_THAT(ledger.problemsWith({}),
                ElementsAre("frame 98 was acknowledged and is lost; the newest is frame 0"));
}

TEST_F(FrameLedgerTest, MoreMayBeThere) {
    EXPECT_THAT(ledger.problemsWith(frames(80, 98)), IsEmpty());
    EXPECT_THAT(ledger.problemsWith(frames(81, written)), IsEmpty());
    EXPECT_THAT(ledger.problemsWith(frames(81, written + 1)),
                ElementsAre("frame 101 was never written"));
}

TEST_F(FrameLedgerTest, FramesAreWholeAndInOrder) {
    auto some = frames(81, 98);
    some[3].isWhole = false;
    some.erase(some.begin() + 10);
    EXPECT_THAT(ledger.problemsWith(some),
                ElementsAre("frame 84 is torn", "frame 92 follows frame 90"));
}

TEST_F(FrameLedgerTest, NothingIsDemandedOfAnEmptyTrackIntoWhichNothingWasWritten) {
    EXPECT_THAT(FrameLedger(1000).problemsWith({}), IsEmpty());
}

TEST_F(FrameLedgerTest, AFrameThatIsSentAgainTakesNoFurtherRoom) {
    ledger.sent(99);
    EXPECT_THAT(ledger.problemsWith(frames(81, 99)), IsEmpty());
    EXPECT_EQ(ledger.newestAcknowledged(), 98);
}

}  // namespace
}  // namespace tarn::chaos
