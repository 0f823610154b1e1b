#include "cli/output/StyledLine.h"

#include <gtest/gtest.h>

namespace tarn::cli {

TEST(StyledLineTest, HasColoursOnlyWhereThereAreSome) {
    StyledLine line;
    line.add("a ").add("bad", Style::Bad).add(" end", Style::Bold);
    EXPECT_EQ(line.text(Colours::Off), "a bad end");
    EXPECT_EQ(line.text(Colours::On), "a \x1b[31mbad\x1b[0m\x1b[1m end\x1b[0m");
}

TEST(StyledLineTest, EscapesItsParts) {
    StyledLine line;
    line.add("\x1b[2J", Style::Good).add("\n");
    EXPECT_EQ(line.text(Colours::Off), "\\x1b[2J\\x0a");
    EXPECT_EQ(line.text(Colours::On), "\x1b[32m\\x1b[2J\x1b[0m\\x0a");
}

TEST(StyledLineTest, IsCutByColumnsAndNotByColours) {
    StyledLine line;
    line.add("├─ ", Style::Faint).add("studio", Style::Bold).add(" rest");
    EXPECT_EQ(line.text(Colours::Off, 14), "├─ studio rest");
    EXPECT_EQ(line.text(Colours::Off, 13), "├─ studio re…");
    EXPECT_EQ(line.text(Colours::On, 6), "\x1b[2m├─ \x1b[0m\x1b[1mst…\x1b[0m");
    EXPECT_EQ(line.text(Colours::Off, 0), "");
}

}  // namespace tarn::cli
