#include "peers/loop_storage/ring/index/RingIndex.h"

#include <gtest/gtest.h>

#include "peers/loop_storage/StorageError.h"

namespace tarn::peers::loop_storage {
namespace {

constexpr std::uint64_t ringSize = 100;
constexpr std::uint64_t slots = 8;

struct RingIndexTest : testing::Test {
    void put(std::int64_t timePoint, std::uint64_t size) {
        ring.commit(ring.reserve(timePoint, size));
    }
    RingIndex ring{ringSize, slots};
};

TEST_F(RingIndexTest, KeepsAsManyFramesAsFit) {
    for (std::int64_t i = 1; i <= 4; ++i) {
        put(i, 25);
    }
    EXPECT_EQ(ring.all().size(), 4U);
    put(5, 25);
    EXPECT_EQ(ring.oldest().timePoint, 2);
    EXPECT_EQ(ring.newest().timePoint, 5);
}

TEST_F(RingIndexTest, AFrameOfTheWholeRingLeavesOnlyItself) {
    put(1, 40);
    put(2, 100);
    EXPECT_EQ(ring.all().size(), 1U);
    EXPECT_EQ(ring.oldest().timePoint, 2);
}

TEST_F(RingIndexTest, AFrameLargerThanTheRingIsRefusedAndForgetsNothing) {
    put(1, 40);
    EXPECT_THROW(ring.reserve(2, 101), StorageError);
    EXPECT_EQ(ring.oldest().timePoint, 1);
}

TEST_F(RingIndexTest, TimePointsHaveToGrow) {
    put(5, 10);
    EXPECT_THROW(ring.reserve(5, 10), StorageError);
    EXPECT_THROW(ring.reserve(4, 10), StorageError);
    put(6, 10);
    EXPECT_EQ(ring.newest().timePoint, 6);
}

TEST_F(RingIndexTest, WhatAReservationGoesOverIsGoneBeforeItIsCommitted) {
    put(1, 60);
    put(2, 40);
    ring.reserve(3, 10);
    EXPECT_FALSE(ring.holds(0));
    EXPECT_TRUE(ring.holds(1));
}

TEST_F(RingIndexTest, AReservationThatIsNotCommittedIsReservedAgain) {
    put(1, 10);
    const auto first = ring.reserve(2, 50);
    const auto second = ring.reserve(2, 20);
    EXPECT_EQ(first.position, second.position);
    EXPECT_EQ(first.sequence, second.sequence);
    EXPECT_EQ(ring.limit(), 60U);
}

TEST_F(RingIndexTest, ItHoldsNoMoreFramesThanItHasSlots) {
    for (std::int64_t i = 0; i < 20; ++i) {
        put(i, 1);
    }
    EXPECT_EQ(ring.all().size(), slots);
    EXPECT_EQ(ring.newest().timePoint, 19);
}

TEST_F(RingIndexTest, AFrameWithoutBytesIsAFrame) {
    put(1, 0);
    put(2, 0);
    EXPECT_EQ(ring.all().size(), 2U);
}

TEST_F(RingIndexTest, FindsTheFrameOfATimePointOrTheNextLater) {
    put(10, 5);
    put(20, 5);
    EXPECT_EQ(ring.fromTimePoint(0)->timePoint, 10);
    EXPECT_EQ(ring.fromTimePoint(11)->timePoint, 20);
    EXPECT_EQ(ring.fromTimePoint(21), nullptr);
}

TEST_F(RingIndexTest, KnowsWhichTimePointsItHasLost) {
    put(10, 60);
    put(20, 60);
    EXPECT_TRUE(ring.hasLost(10));
    EXPECT_TRUE(ring.hasLost(-5));
    EXPECT_FALSE(ring.hasLost(11));
}

TEST_F(RingIndexTest, ClearingForgetsEverythingAndUsesUpASequenceNumber) {
    put(10, 5);
    EXPECT_EQ(ring.clear(), 1U);
    EXPECT_TRUE(ring.empty());
    put(3, 5);
    EXPECT_EQ(ring.newest().sequence, 2U);
    EXPECT_EQ(ring.newest().position, 5U);
}

TEST_F(RingIndexTest, RestoringLeavesOutWhatTheLimitHasGoneOver) {
    std::deque<FrameInfo> found = {
        {.sequence = 5, .timePoint = 1, .position = 500, .size = 40},
        {.sequence = 6, .timePoint = 2, .position = 540, .size = 40},
    };
    ring.restore(found, 7, 601);
    ASSERT_EQ(ring.all().size(), 1U);
    EXPECT_EQ(ring.oldest().sequence, 6U);
    EXPECT_EQ(ring.reserve(3, 10).position, 580U);
    EXPECT_EQ(ring.limit(), 601U);
}

// What was reserved by a writer whose frames never came to be may lie a round ahead.
TEST_F(RingIndexTest, AfterARestartThatLeavesNoFrameTheNextOnesHaveRoom) {
    const std::deque<FrameInfo> found = {
        {.sequence = 5, .timePoint = 1, .position = 500, .size = 40},
    };
    ring.restore(found, 6, 5000);
    EXPECT_TRUE(ring.empty());
    EXPECT_TRUE(ring.hasLost(1));
    for (const std::int64_t timePoint : {2, 3, 4}) {
        ring.commit(ring.reserve(timePoint, 10));
    }
    EXPECT_EQ(ring.all().size(), 3U);
    EXPECT_EQ(ring.oldest().position, 5000U);
}

}  // namespace
}  // namespace tarn::peers::loop_storage
