#include "peers/pipeline_process/PipelineParser.h"

#include <gtest/gtest.h>

namespace tarn::peers {
namespace {

struct PipelineParserTest : testing::Test {
    static void SetUpTestSuite() { gst_init(nullptr, nullptr); }

    std::string refusalOf(const std::string& text) {
        std::string error;
        EXPECT_EQ(parsePipeline(text, error), nullptr) << text;
        return error;
    }
    static bool isPipeline(const std::string& text) {
        std::string error = "old";
        const auto element = parsePipeline(text, error);
        EXPECT_EQ(error, "");
        return element && GST_IS_PIPELINE(element.get());
    }
};

TEST_F(PipelineParserTest, WhateverIsUnderstoodBecomesAPipeline) {
    EXPECT_TRUE(isPipeline("fakesrc ! fakesink"));
    EXPECT_TRUE(isPipeline("fakesrc"));
    EXPECT_TRUE(isPipeline("bin.( fakesrc ! fakesink )"));
    EXPECT_TRUE(isPipeline("fakesrc ! fakesink   fakesrc ! fakesink"));
}

TEST_F(PipelineParserTest, GivesTheMediaLibrarysMessage) {
    EXPECT_EQ(refusalOf(""), "empty pipeline not allowed");
    EXPECT_EQ(refusalOf("  \n "), "empty pipeline not allowed");
    EXPECT_EQ(refusalOf("fakesrc ! ("), "syntax error");
    EXPECT_EQ(refusalOf("nosuch"), "no element \"nosuch\"");
}

TEST_F(PipelineParserTest, RefusesWhatWouldBeLeftOut) {
    EXPECT_EQ(refusalOf("fakesrc ! fakesink nosuch=1"),
              "no property \"nosuch\" in element \"fakesink\"");
    EXPECT_EQ(refusalOf("fakesrc ! nosuch1 ! nosuch2 ! fakesink"),
              "no element \"nosuch1\" (missing elements: nosuch1, nosuch2)");
}

TEST_F(PipelineParserTest, DoesNotStopReadingAtAZeroByte) {
    EXPECT_EQ(refusalOf(std::string("fakesrc ! fakesink\0 rest", 24)),
              "the pipeline's text holds a zero byte");
}

}  // namespace
}  // namespace tarn::peers
