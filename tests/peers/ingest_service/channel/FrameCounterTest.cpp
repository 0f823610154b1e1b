#include "peers/ingest_service/channel/FrameCounter.h"

#include <gtest/gtest.h>

namespace tarn::peers::ingest_service {

using namespace std::chrono_literals;

class FrameCounterTest : public testing::Test {
  protected:
    void frameAt(std::chrono::milliseconds time) { counter.add(time, 40ms); }

    FrameCounter counter;
};

TEST_F(FrameCounterTest, CountsFrames) {
    frameAt(0ms);
    frameAt(40ms);
    frameAt(79ms);
    frameAt(121ms);
    EXPECT_EQ(counter.captured(), 4U);
    EXPECT_EQ(counter.dropped(), 0U);
}

TEST_F(FrameCounterTest, CountsWhatIsMissingBetweenTwo) {
    frameAt(0ms);
    frameAt(160ms);
    frameAt(240ms);
    EXPECT_EQ(counter.captured(), 3U);
    EXPECT_EQ(counter.dropped(), 4U);
}

TEST_F(FrameCounterTest, CannotTellWhatIsMissingWithoutTimeOrDuration) {
    frameAt(0ms);
    counter.add(std::nullopt, 40ms);
    frameAt(400ms);
    counter.add(4000ms, 0ms);
    EXPECT_EQ(counter.captured(), 4U);
    EXPECT_EQ(counter.dropped(), 0U);
}

TEST_F(FrameCounterTest, ATimeThatGoesBackIsNoGap) {
    frameAt(400ms);
    frameAt(0ms);
    EXPECT_EQ(counter.dropped(), 0U);
}

}  // namespace tarn::peers::ingest_service
