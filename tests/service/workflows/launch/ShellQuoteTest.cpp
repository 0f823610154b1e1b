#include "service/workflows/launch/ShellQuote.h"

#include <gtest/gtest.h>

namespace tarn::service {

TEST(ShellQuoteTest, LeavesHarmlessTextAsItIs) {
    EXPECT_EQ(shellQuoted("cam1"), "cam1");
    EXPECT_EQ(shellQuoted("aZ09_@%+=:,./-"), "aZ09_@%+=:,./-");
}

TEST(ShellQuoteTest, PutsEverythingElseInQuotes) {
    EXPECT_EQ(shellQuoted("x; reboot"), "'x; reboot'");
    EXPECT_EQ(shellQuoted("$(id)"), "'$(id)'");
    EXPECT_EQ(shellQuoted("a\nb"), "'a\nb'");
    EXPECT_EQ(shellQuoted("\xc3\xa4"), "'\xc3\xa4'");
}

TEST(ShellQuoteTest, KeepsQuotesInsideTheText) {
    EXPECT_EQ(shellQuoted("it's"), "'it'\\''s'");
}

TEST(ShellQuoteTest, MakesAnEmptyTextAnArgument) {
    EXPECT_EQ(shellQuoted(""), "''");
}

TEST(ShellQuoteTest, RefusesWhatNoArgumentCanHold) {
    EXPECT_THROW(shellQuoted(std::string("a\0b", 3)), std::invalid_argument);
}

}  // namespace tarn::service
