#include "platform/utils/Utf8Prefix.h"

#include <gtest/gtest.h>

namespace tarn::utils {

TEST(Utf8Prefix, IsTheWholeTextWhereThatFits) {
    EXPECT_EQ(utf8Prefix("caf\xc3\xa9", 5), "caf\xc3\xa9");
    EXPECT_EQ(utf8Prefix("", 0), "");
}

TEST(Utf8Prefix, NeverEndsInsideACharacter) {
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

TEST(Utf8Prefix, EndsAlsoInATextThatIsNoUtf8) {
    EXPECT_EQ(utf8Prefix("\x80\x80\x80", 2), "");
    EXPECT_EQ(utf8Prefix("\xff\xff\xff", 2), "\xff\xff");
}

}  // namespace tarn::utils
