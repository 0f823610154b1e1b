#include "peers/job_runtime/pipeline/OutputLines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace tarn::peers {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct OutputLinesTest : testing::Test {
    std::vector<std::string> seen;
    OutputLines lines{[this](const std::string& line) { seen.push_back(line); }};
};

TEST_F(OutputLinesTest, LinesAreHandedOutWhenTheyAreWhole) {
    lines.add("one\ntw");
    EXPECT_THAT(seen, ElementsAre("one"));
    lines.add("o\n");
    EXPECT_THAT(seen, ElementsAre("one", "two"));
}

TEST_F(OutputLinesTest, EmptyLinesAreLeftOut) {
    lines.add("\n\n");
    EXPECT_THAT(seen, IsEmpty());
}

TEST_F(OutputLinesTest, ALastLineWithoutAnEndIsHandedOutAtTheFinish) {
    lines.add("last");
    EXPECT_THAT(seen, IsEmpty());
    lines.finish();
    lines.finish();
    EXPECT_THAT(seen, ElementsAre("last"));
}

TEST_F(OutputLinesTest, AnOverlongLineIsCutAndTheNextOneIsWhole) {
    const std::string piece(OutputLines::maxLineBytes, 'x');
    lines.add(piece);
    lines.add(piece);
    lines.add("y\nnext\n");
    EXPECT_THAT(seen, ElementsAre(piece, "next"));
}

}  // namespace
}  // namespace tarn::peers
