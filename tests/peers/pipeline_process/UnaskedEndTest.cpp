#include "peers/pipeline_process/UnaskedEnd.h"

#include <gtest/gtest.h>

#include "peers/pipeline_process/PipelineParser.h"
#include "tests/support/peers/LoopbackSender.h"

namespace tarn::peers {
namespace {

struct UnaskedEndTest : testing::Test {
    static void SetUpTestSuite() { gst_init(nullptr, nullptr); }

    ~UnaskedEndTest() override { gst_element_set_state(pipeline.get(), GST_STATE_NULL); }

    void parse(const std::string& text) {
        std::string error;
        pipeline = parsePipeline(text, error);
        ASSERT_EQ(error, "");
    }

    // Without playing where that would take a network.
    std::string sourceOf(const std::string& text) {
        parse(text);
        return sourceWithoutEnd(*pipeline);
    }

    std::string sourceOfPlaying(const std::string& text) {
        parse(text);
        gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
        GstState now = GST_STATE_NULL;
        gst_element_get_state(pipeline.get(), &now, nullptr, 10 * GST_SECOND);
        EXPECT_EQ(now, GST_STATE_PLAYING);
        return sourceWithoutEnd(*pipeline);
    }

    GstElementPtr pipeline;
};

TEST_F(UnaskedEndTest, ALiveSourceHasNoEndOfItsOwn) {
    EXPECT_EQ(sourceOfPlaying("videotestsrc name=camera is-live=true ! fakesink"), "camera");
}

TEST_F(UnaskedEndTest, OneThatIsLimitedHas) {
    EXPECT_EQ(sourceOfPlaying("videotestsrc is-live=true num-buffers=1000 ! fakesink"), "");
    EXPECT_EQ(sourceOfPlaying("videotestsrc is-live=true ! identity eos-after=1000 ! fakesink"),
              "");
    EXPECT_EQ(sourceOfPlaying("videotestsrc is-live=true ! fakesink num-buffers=1000"), "");
}

TEST_F(UnaskedEndTest, WhatIsNotLiveHas) {
    EXPECT_EQ(sourceOfPlaying("videotestsrc ! fakesink sync=true"), "");
    EXPECT_EQ(sourceOf("filesrc location=/dev/null ! fakesink"), "");
    EXPECT_EQ(sourceOf("fdsrc ! fakesink"), "");
}

TEST_F(UnaskedEndTest, AConnectionOfUnknownLengthHasNone) {
    EXPECT_EQ(sourceOf("tcpclientsrc name=feed ! fakesink"), "feed");
    EXPECT_EQ(sourceOf("tcpserversrc name=feed ! fakesink"), "feed");
    EXPECT_EQ(sourceOf("udpsrc name=feed ! fakesink"), "feed");
    EXPECT_EQ(sourceOf("tcpclientsrc num-buffers=5 ! fakesink"), "");
}

TEST_F(UnaskedEndTest, AConnectionThatCanBeSoughtHasOne) {
    EXPECT_EQ(sourceOf("curlhttpsrc location=http://127.0.0.1/ ! fakesink"), "");
}

TEST_F(UnaskedEndTest, AStreamThatTellsItsLengthHasOneHoweverItComes) {
    const std::string second(8000, '\x80');
    // Eight bits, 8000 times a second, on one channel.
    const std::string header(
        "RIFF\x64\x1f\0\0WAVEfmt "
        "\x10\0\0\0\1\0\1\0\x40\x1f\0\0\x40\x1f\0\0\1\0\x08\0data\x40\x1f\0\0",
        44);
    tarn::test::LoopbackSender sender;
    parse("tcpclientsrc host=127.0.0.1 port=" + std::to_string(sender.port()) +
          " ! wavparse ! fakesink");
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    ASSERT_TRUE(sender.serveNext(header + second));
    EXPECT_EQ(gst_element_get_state(pipeline.get(), nullptr, nullptr, 10 * GST_SECOND),
              GST_STATE_CHANGE_SUCCESS);
    EXPECT_EQ(sourceWithoutEnd(*pipeline), "");
}

TEST_F(UnaskedEndTest, ASourceIsFoundInWhicheverBinItIs) {
    EXPECT_EQ(sourceOfPlaying("videotestsrc num-buffers=-1 ! fakesink sync=true "
                              "( videotestsrc name=camera is-live=true ! fakesink )"),
              "camera");
}

}  // namespace
}  // namespace tarn::peers
