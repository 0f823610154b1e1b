#include "platform/utils/EscapedText.h"

#include <gtest/gtest.h>

namespace tarn::utils {

TEST(EscapeForLogTest, KeepsOrdinaryTextAndTabs) {
    EXPECT_EQ(escapeForLog("\tError: Gr\xc3\xb6\xc3\x9f"
                           "e"),
              "\tError: Gr\xc3\xb6\xc3\x9f"
              "e");
}

TEST(EscapeForLogTest, EscapesLineBreaksOfEveryKind) {
    EXPECT_EQ(escapeForLog("a\nb\rc\x0b"
                           "d\x0c"
                           "e"),
              "a\\nb\\rc\\x0bd\\x0ce");
    EXPECT_EQ(escapeForLog("a\xc2\x85"
                           "b\xe2\x80\xa8"
                           "c\xe2\x80\xa9"),
              "a\\x85b\\u{2028}c\\u{2029}");
}

TEST(EscapeForLogTest, EscapesControlCharactersOfBothSets) {
    EXPECT_EQ(escapeForLog(std::string_view("\x1b[2J\0\x7f", 6)), "\\x1b[2J\\x00\\x7f");
    EXPECT_EQ(escapeForLog("\xc2\x80\xc2\x9b\xc2\x9f\xc2\xa0"), "\\x80\\x9b\\x9f\xc2\xa0");
}

TEST(EscapeForLogTest, EscapesWhatTurnsTheWritingDirection) {
    EXPECT_EQ(escapeForLog("\xd8\x9c\xe2\x80\x8e\xe2\x80\xae\xe2\x81\xa9"),
              "\\u{61c}\\u{200e}\\u{202e}\\u{2069}");
    EXPECT_EQ(escapeForLog("\xe2\x80\x8d\xe2\x80\xaf\xe2\x81\xa5"),  // their neighbours
              "\xe2\x80\x8d\xe2\x80\xaf\xe2\x81\xa5");
}

TEST(EscapeForLogTest, EscapesBytesThatAreNoUtf8) {
    EXPECT_EQ(escapeForLog("\xc0\xaf\xff"
                           "a\x9b"),
              "\\xc0\\xaf\\xffa\\x9b");
}

TEST(EscapeForLogTest, DoesNotEscapeTwice) {
    const auto once = escapeForLog("a\n\x1b\xc2\x9b\xff\\");
    EXPECT_EQ(escapeForLog(once), once);
}

TEST(IsUnsafeTest, IsTrueOfTheseAndOfNoneBesideThem) {
    struct Range {
        std::uint32_t first;
        std::uint32_t last;
    };
    for (const auto& [first, last] :
         {Range{0, 0x1F}, Range{0x7F, 0x9F}, Range{0x61C, 0x61C}, Range{0x200E, 0x200F},
          Range{0x2028, 0x202E}, Range{0x2066, 0x2069}}) {
        EXPECT_TRUE(first == 0 || !isUnsafe(first - 1)) << first;
        for (auto codePoint = first; codePoint <= last; ++codePoint) {
            EXPECT_TRUE(isUnsafe(codePoint)) << codePoint;
        }
        EXPECT_FALSE(isUnsafe(last + 1)) << last;
    }
}

TEST(IsPlainForLogTest, IsTrueOnlyOfWhatWouldStayAsItIs) {
    EXPECT_TRUE(isPlainForLog("\tError: ~ \\n"));
    EXPECT_TRUE(isPlainForLog(""));
    for (int byte = 0; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        EXPECT_EQ(isPlainForLog(text), escapeForLog(text) == text) << byte;
    }
}

}  // namespace tarn::utils
