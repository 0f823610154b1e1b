#include "peers/host_monitor/readings/Text.h"

#include <gtest/gtest.h>

namespace tarn::peers::host_monitor {
namespace {

TEST(TextTest, LinesAndWordsHaveNothingBetweenThem) {
    EXPECT_EQ(linesOf("a b\n\nc"), (std::vector<std::string_view>{"a b", "c"}));
    EXPECT_EQ(wordsOf("  a\tb \n c"), (std::vector<std::string_view>{"a", "b", "c"}));
    EXPECT_TRUE(linesOf("").empty());
    EXPECT_TRUE(wordsOf(" \t").empty());
    EXPECT_EQ(trimmed(" a b\n"), "a b");
    EXPECT_EQ(trimmed(" \n"), "");
}

TEST(TextTest, ANumberIsTheWholeTextAndFits) {
    EXPECT_EQ(toUnsigned("18446744073709551615"), 18446744073709551615U);
    EXPECT_EQ(toSigned("-40000"), -40000);
    for (const char* text : {"", "1x", "x", " 1", "1.5", "+1", "18446744073709551616", "-1"}) {
        EXPECT_FALSE(toUnsigned(text)) << text;
    }
}

}  // namespace
}  // namespace tarn::peers::host_monitor
