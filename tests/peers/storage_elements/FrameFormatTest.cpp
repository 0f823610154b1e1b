#include "peers/storage_elements/FrameFormat.h"

#include <gtest/gtest.h>

namespace tarn::peers::storage_elements {
namespace {

const FrameHead head{
    .pts = 1, .dts = ~0ULL, .duration = 40'000'000, .flags = 0x2040, .caps = "video/x-raw"};

TEST(FrameFormatTest, WhatIsEncodedIsDecoded) {
    const auto frame = encodeHead(head) + "bytes";
    const auto decoded = decodeFrame(frame);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->head.pts, head.pts);
    EXPECT_EQ(decoded->head.dts, head.dts);
    EXPECT_EQ(decoded->head.duration, head.duration);
    EXPECT_EQ(decoded->head.flags, head.flags);
    EXPECT_EQ(decoded->head.caps, head.caps);
    EXPECT_EQ(decoded->bytes, "bytes");
}

TEST(FrameFormatTest, AFrameThatIsCutWithinItsHeadIsNone) {
    const auto frame = encodeHead(head);
    for (std::size_t size = 0; size < frame.size(); ++size) {
        EXPECT_FALSE(decodeFrame(std::string_view(frame).substr(0, size))) << size;
    }
    EXPECT_TRUE(decodeFrame(frame));
}

TEST(FrameFormatTest, OtherBytesAreNone) {
    EXPECT_FALSE(decodeFrame(std::string(1000, 'x')));
}

}  // namespace
}  // namespace tarn::peers::storage_elements
