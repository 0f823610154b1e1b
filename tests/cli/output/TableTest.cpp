#include "cli/output/Table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarn::cli {

using testing::ElementsAre;

TEST(TableTest, AlignsColumnsWithoutTrailingBlanks) {
    Table table({"ID", "NAME"});
    table.add({"1", "a longer name"});
    table.add({"234", "b"});
    EXPECT_THAT(table.lines(), ElementsAre("ID   NAME", "1    a longer name", "234  b"));
}

TEST(TableTest, ShowsAnEmptyCellAsDash) {
    Table table({"ID", "NAME"});
    table.add({"1", ""});
    EXPECT_THAT(table.lines(), ElementsAre("ID  NAME", "1   -"));
}

TEST(TableTest, EscapesCells) {
    Table table({"NAME"});
    table.add({"\x1b[2J"});
    EXPECT_EQ(table.lines()[1], "\\x1b[2J");
}

TEST(TableTest, CutsAVeryLongCell) {
    Table table({"NAME", "X"});
    table.add({std::string(100'000, 'n'), "y"});
    EXPECT_EQ(table.lines()[1], std::string(63, 'n') + "…  y");
}

}  // namespace tarn::cli
