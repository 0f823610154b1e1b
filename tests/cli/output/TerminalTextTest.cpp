#include "cli/output/TerminalText.h"

#include <gtest/gtest.h>

namespace tarn::cli {

TEST(TerminalTextTest, KeepsOrdinaryTextAndOtherScripts) {
    EXPECT_EQ(escapeForTerminal("cam 1 / Größe 写真 🎥"), "cam 1 / Größe 写真 🎥");
}

TEST(TerminalTextTest, EscapesControlCharacters) {
    EXPECT_EQ(escapeForTerminal("a\x1b[31mb\r\n\t\x7f"), "a\\x1b[31mb\\x0d\\x0a\\x09\\x7f");
    EXPECT_EQ(escapeForTerminal(std::string_view("\0", 1)), "\\x00");
}

TEST(TerminalTextTest, EscapesControlCharactersOfEightBits) {
    EXPECT_EQ(escapeForTerminal("\xc2\x9b"), "\\x9b");
}

TEST(TerminalTextTest, EscapesWhatTurnsTheWritingDirection) {
    EXPECT_EQ(escapeForTerminal("a\xe2\x80\xae"), "a\\u{202e}");
    EXPECT_EQ(escapeForTerminal("\xe2\x81\xa6"), "\\u{2066}");
}

TEST(TerminalTextTest, EscapesBytesThatAreNoUtf8) {
    EXPECT_EQ(escapeForTerminal("\xff"), "\\xff");
    EXPECT_EQ(escapeForTerminal("\xc3"), "\\xc3");                    // cut off
    EXPECT_EQ(escapeForTerminal("\xc0\x9b"), "\\xc0\\x9b");           // overlong escape
    EXPECT_EQ(escapeForTerminal("\xe0\x80\x9b"), "\\xe0\\x80\\x9b");  // the same in three bytes
    EXPECT_EQ(escapeForTerminal("\xed\xa0\x80"), "\\xed\\xa0\\x80");  // half a surrogate pair
    EXPECT_EQ(escapeForTerminal("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
}

TEST(TerminalTextTest, CountsOneColumnForEachCharacter) {
    EXPECT_EQ(columns("Größe"), 5U);
    EXPECT_EQ(columns(""), 0U);
}

TEST(TerminalTextTest, ShortensToTheLimitWithAnEllipsis) {
    EXPECT_EQ(shorten("Größe", 5), "Größe");
    EXPECT_EQ(shorten("Größer", 5), "Größ…");
    EXPECT_EQ(shorten("abc", 1), "…");
    EXPECT_EQ(shorten("abc", 0), "");
}

}  // namespace tarn::cli
