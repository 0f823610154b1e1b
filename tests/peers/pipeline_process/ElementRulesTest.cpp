#include "peers/pipeline_process/ElementRules.h"

#include <gtest/gtest.h>

#include "peers/pipeline_process/PipelineParser.h"

namespace tarn::peers {
namespace {

struct ElementRulesTest : testing::Test {
    static void SetUpTestSuite() { gst_init(nullptr, nullptr); }

    static std::optional<std::string> outside(const std::string& text,
                                              const std::vector<std::string>& folders = {"/srv"}) {
        std::string error;
        const auto pipeline = parsePipeline(text, error);
        EXPECT_EQ(error, "");
        return pipeline ? writesOutside(*pipeline, folders) : "not parsed";
    }
};

// The elements refused here are those of no other test: it is for good.
TEST_F(ElementRulesTest, ARefusedElementIsMadeByNobodyAnyMore) {
    std::string error;
    EXPECT_TRUE(parsePipeline("videotestsrc ! navseek ! fakesink", error));
    refuseElements({"navseek", "no-such-element"});
    EXPECT_FALSE(parsePipeline("videotestsrc ! navseek ! fakesink", error));
    EXPECT_EQ(error + explainRefusal(error, {"fdsink", "navseek"}),
              "no element \"navseek\"; the configuration refuses navseek");
    EXPECT_EQ(gst_element_factory_make("navseek", nullptr), nullptr);
}

TEST_F(ElementRulesTest, ARefusedElementIsChosenByNoOther) {
    const auto isChosen = [] {
        GList* const decoders = gst_element_factory_list_get_elements(
            GST_ELEMENT_FACTORY_TYPE_DEMUXER, GST_RANK_MARGINAL);
        bool found = false;
        for (const GList* one = decoders; one != nullptr; one = one->next) {
            found = found || std::string(GST_OBJECT_NAME(one->data)) == "flvdemux";
        }
        gst_plugin_feature_list_free(decoders);
        return found;
    };
    if (!isChosen()) {
        GTEST_SKIP() << "flvdemux is not installed";
    }
    refuseElements({"flvdemux"});
    EXPECT_FALSE(isChosen());
}

TEST_F(ElementRulesTest, AnErrorThatHasAnotherReasonIsNotExplained) {
    EXPECT_EQ(explainRefusal("no element \"fdsinks\"", {"fdsink"}), "");
    EXPECT_EQ(explainRefusal("syntax error", {"fdsink"}), "");
}

TEST_F(ElementRulesTest, AFileBelowAFolderIsWritten) {
    EXPECT_EQ(outside("videotestsrc ! filesink location=/srv/a"), std::nullopt);
    EXPECT_EQ(outside("videotestsrc ! filesink location=/srv/a/../b"), std::nullopt);
    EXPECT_EQ(outside("videotestsrc ! filesink location=/b/a", {"/srv", "/b/"}), std::nullopt);
    EXPECT_EQ(outside("videotestsrc ! fakesink"), std::nullopt);
}

TEST_F(ElementRulesTest, AFileElsewhereIsToldWithItsElement) {
    const std::string problem = " is not below a folder that jobs may write to";
    EXPECT_EQ(outside("videotestsrc ! filesink name=f location=/etc/x"), "f: /etc/x" + problem);
    EXPECT_EQ(outside("videotestsrc ! filesink name=f location=/srv/../etc/x"),
              "f: /srv/../etc/x" + problem);
    EXPECT_EQ(outside("videotestsrc ! filesink name=f location=/srvx"), "f: /srvx" + problem);
    EXPECT_EQ(outside("videotestsrc ! multifilesink name=f location=/x%d"), "f: /x%d" + problem);
}

TEST_F(ElementRulesTest, AFileInABinInABinIsFoundToo) {
    EXPECT_NE(outside("videotestsrc ! bin.( bin.( filesink location=/etc/x ) )"), std::nullopt);
}

TEST_F(ElementRulesTest, WhatIsReadAndWhatIsNoFileIsLeftToTheKernel) {
    EXPECT_EQ(outside("filesrc location=/etc/hosts ! fakesink"), std::nullopt);
}

TEST_F(ElementRulesTest, WhatTalksOverUnixSocketsIsKnownByItsText) {
    EXPECT_TRUE(usesLocalSockets("shmsrc socket-path=/tmp/x ! fakesink"));
    EXPECT_TRUE(usesLocalSockets("videotestsrc ! tarnstoragesink"));
    EXPECT_FALSE(usesLocalSockets("videotestsrc ! filesink location=/srv/x"));
}

}  // namespace
}  // namespace tarn::peers
