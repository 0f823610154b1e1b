#include "peers/storage_elements/Segments.h"

#include <gtest/gtest.h>

#include <memory>

namespace tarn::peers::storage_elements {
namespace {

struct Unref {
    void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
};
using Buffer = std::unique_ptr<GstBuffer, Unref>;

Buffer bufferAt(GstClockTime time) {
    Buffer buffer(gst_buffer_new());
    buffer->pts = time;
    buffer->duration = 40 * GST_MSECOND;
    return buffer;
}

constexpr auto far = 1000 * 3600 * GST_SECOND;  // where some encoders begin

struct SegmentsTest : testing::Test {
    static void SetUpTestSuite() { gst_init(nullptr, nullptr); }

    /// What a buffer of this time comes to in the pipeline.
    struct Times {
        GstClockTime running;
        GstClockTime position;
        bool operator==(const Times&) const = default;
    };
    Times play(GstClockTime time, bool isGap = false) {
        const auto buffer = bufferAt(time);
        if (const auto next = segments.before(buffer.get(), isGap)) {
            segment = *next;
            ++begun;
        }
        return {.running = gst_segment_to_running_time(&segment, GST_FORMAT_TIME, time),
                .position = gst_segment_to_stream_time(&segment, GST_FORMAT_TIME, time)};
    }

    Segments segments{5 * GST_SECOND};
    GstSegment segment{};
    int begun = 0;
};

TEST_F(SegmentsTest, PlayingBeginsAtZeroWhereverTheTimeStampsDo) {
    EXPECT_EQ(play(far), (Times{5 * GST_SECOND, 0}));
    EXPECT_EQ(play(far + GST_SECOND), (Times{6 * GST_SECOND, GST_SECOND}));
    EXPECT_EQ(begun, 1);
}

TEST_F(SegmentsTest, AnotherRecordingFollowsRightOn) {
    play(far);
    play(far + GST_SECOND);
    EXPECT_EQ(play(0), (Times{6 * GST_SECOND + 40 * GST_MSECOND, GST_SECOND + 40 * GST_MSECOND}));
    EXPECT_EQ(begun, 2);
}

TEST_F(SegmentsTest, WhatIsMissingIsNotWaitedFor) {
    play(0);
    EXPECT_EQ(play(3600 * GST_SECOND, true),
              (Times{5 * GST_SECOND + 40 * GST_MSECOND, 40 * GST_MSECOND}));
}

TEST_F(SegmentsTest, FramesThatAreShownInAnotherOrderBeginNothing) {
    play(10 * GST_SECOND);
    play(10 * GST_SECOND + 120 * GST_MSECOND);
    play(10 * GST_SECOND + 40 * GST_MSECOND);
    EXPECT_EQ(begun, 1);
}

TEST_F(SegmentsTest, ABufferWithoutATimeBeginsNothing) {
    EXPECT_FALSE(segments.before(bufferAt(GST_CLOCK_TIME_NONE).get(), true));
}

}  // namespace
}  // namespace tarn::peers::storage_elements
