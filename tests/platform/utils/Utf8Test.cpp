#include "platform/utils/Utf8.h"

#include <gtest/gtest.h>

namespace tarn::utils {

namespace {

const std::string replacement = "\xef\xbf\xbd";

std::string repeated(unsigned count) {
    std::string text;
    while (count-- > 0) {
        text += replacement;
    }
    return text;
}

}  // namespace

TEST(Utf8Test, KnowsCharactersOfEachLength) {
    EXPECT_EQ(firstCharacter("ab").codePoint, U'a');
    EXPECT_EQ(firstCharacter("ab").length, 1U);
    EXPECT_EQ(firstCharacter("\xc2\x80").codePoint, 0x80U);
    EXPECT_EQ(firstCharacter("\xdf\xbf").codePoint, 0x7FFU);
    EXPECT_EQ(firstCharacter("\xe0\xa0\x80").codePoint, 0x800U);
    EXPECT_EQ(firstCharacter("\xed\x9f\xbf").codePoint, 0xD7FFU);  // before the surrogates
    EXPECT_EQ(firstCharacter("\xee\x80\x80").codePoint, 0xE000U);  // and behind them
    EXPECT_EQ(firstCharacter("\xef\xbf\xbf!").length, 3U);
    EXPECT_EQ(firstCharacter("\xf0\x90\x80\x80").codePoint, 0x10000U);
    EXPECT_EQ(firstCharacter("\xf4\x8f\xbf\xbf").codePoint, 0x10FFFFU);
}

TEST(Utf8Test, ReplacesEachByteThatIsNone) {
    EXPECT_EQ(replaceInvalidUtf8("a\xff!"), "a" + repeated(1) + "!");
    EXPECT_EQ(replaceInvalidUtf8("\x80"), repeated(1));               // without a beginning
    EXPECT_EQ(replaceInvalidUtf8("\xe2\x82"), repeated(2));           // cut off
    EXPECT_EQ(replaceInvalidUtf8("\xe2\x82\""), repeated(2) + "\"");  // swallows nothing
    EXPECT_EQ(replaceInvalidUtf8("\xc0\xaf"), repeated(2));           // overlong
    EXPECT_EQ(replaceInvalidUtf8("\xe0\x9f\xbf"), repeated(3));
    EXPECT_EQ(replaceInvalidUtf8("\xf0\x8f\xbf\xbf"), repeated(4));
    EXPECT_EQ(replaceInvalidUtf8("\xed\xa0\x80"), repeated(3));      // half a surrogate pair
    EXPECT_EQ(replaceInvalidUtf8("\xed\xbf\xbf"), repeated(3));      // the other half
    EXPECT_EQ(replaceInvalidUtf8("\xf4\x90\x80\x80"), repeated(4));  // beyond the last
}

TEST(Utf8Test, LeavesWhatIsUtf8AsItIs) {
    const std::string text(
        "Gr\xc3\xb6\xc3\x9f"
        "e \xf0\x9f\x8e\xa5 \x1b\0.",
        17);
    EXPECT_EQ(replaceInvalidUtf8(text), text);
    EXPECT_EQ(replaceInvalidUtf8(""), "");
}

TEST(Utf8PrefixTest, IsTheWholeTextWhereThatFits) {
    EXPECT_EQ(utf8Prefix("caf\xc3\xa9", 5), "caf\xc3\xa9");
    EXPECT_EQ(utf8Prefix("", 0), "");
}

TEST(Utf8PrefixTest, NeverEndsInsideACharacter) {
    EXPECT_EQ(utf8Prefix("caf\xc3\xa9", 4), "caf");
    EXPECT_EQ(utf8Prefix("\xe2\x82\xac"
                         "b",
                         3),
              "\xe2\x82\xac");
    EXPECT_EQ(utf8Prefix("\xe2\x82\xac"
                         "b",
                         2),
              "");
}

TEST(Utf8PrefixTest, EndsAlsoInATextThatIsNoUtf8) {
    EXPECT_EQ(utf8Prefix("\x80\x80\x80", 2), "");
    EXPECT_EQ(utf8Prefix("\xff\xff\xff", 2), "\xff\xff");
}

}  // namespace tarn::utils
