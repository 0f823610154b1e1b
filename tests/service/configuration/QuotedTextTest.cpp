#include "service/configuration/QuotedText.h"

#include <gtest/gtest.h>

namespace tarn::service::configuration {

TEST(QuotedText, PutsQuotesAroundAText) {
    EXPECT_EQ(quotedText(""), "\"\"");
    EXPECT_EQ(quotedText("caf\xc3\xa9 1"), "\"caf\xc3\xa9 1\"");
}

TEST(QuotedText, EscapesWhatCouldLookLikeAnotherLineOrTheEnd) {
    EXPECT_EQ(quotedText("a\nb\x1b\x7f"), "\"a\\x0ab\\x1b\\x7f\"");
    EXPECT_EQ(quotedText("a\"b\\c"), "\"a\\\"b\\\\c\"");
}

TEST(QuotedText, ShortensALongText) {
    EXPECT_EQ(quotedText(std::string(80, 'x')), "\"" + std::string(80, 'x') + "\"");
    EXPECT_EQ(quotedText(std::string(81, 'x')), "\"" + std::string(80, 'x') + "...\"");
}

TEST(QuotedText, DoesNotCutACharacterInTwo) {
    EXPECT_EQ(quotedText(std::string(79, 'x') + "\xc3\xa9"), "\"" + std::string(79, 'x') + "...\"");
}

}  // namespace tarn::service::configuration
