#include "platform/utils/Printable.h"

#include <gtest/gtest.h>

namespace tarn::utils {

TEST(PrintableTest, KeepsOrdinaryText) {
    EXPECT_EQ(printable("cam 1 \xc3\xa4 \"x\""), "cam 1 \xc3\xa4 \"x\"");
}

TEST(PrintableTest, EscapesControlCharacters) {
    EXPECT_EQ(printable(std::string_view("a\nb\tc\rd\x1b[0m\0e\x7f", 14)),
              "a\\nb\\tc\\rd\\x1b[0m\\x00e\\x7f");
}

TEST(PrintableTest, EscapesControlCharactersOfTheSecondSet) {
    EXPECT_EQ(printable("a\xc2\x9b[31m"), "a\\x9b[31m");
    EXPECT_EQ(quotedText("a\xc2\x9b\""), "\"a\\x9b\\\"\"");
}

TEST(PrintableTest, EscapesBytesThatAreNoUtf8) {
    EXPECT_EQ(printable("a\xc0\xaf\xff"), "a\\xc0\\xaf\\xff");
}

TEST(PrintableTest, CutsLongText) {
    EXPECT_EQ(printable(std::string(100000, 'x'), 5), "xxxxx...");
    EXPECT_EQ(printable("xxxxx", 5), "xxxxx");
}

TEST(PrintableTest, DoesNotCutACharacterInTwo) {
    EXPECT_EQ(printable("xxxx\xc3\xa9", 5), "xxxx...");
}

TEST(QuotedTextTest, PutsQuotesAroundAText) {
    EXPECT_EQ(quotedText(""), "\"\"");
    EXPECT_EQ(quotedText("caf\xc3\xa9 1"), "\"caf\xc3\xa9 1\"");
}

TEST(QuotedTextTest, EscapesWhatCouldLookLikeAnotherLineOrTheEnd) {
    EXPECT_EQ(quotedText("a\nb\x1b\x7f"), "\"a\\nb\\x1b\\x7f\"");
    EXPECT_EQ(quotedText("a\"b\\c"), "\"a\\\"b\\\\c\"");
}

TEST(QuotedTextTest, ShortensALongText) {
    EXPECT_EQ(quotedText(std::string(80, 'x')), "\"" + std::string(80, 'x') + "\"");
    EXPECT_EQ(quotedText(std::string(81, 'x')), "\"" + std::string(80, 'x') + "...\"");
}

}  // namespace tarn::utils
