#include "service/configuration/xml/Replace.h"

#include <gtest/gtest.h>

#include <optional>
#include <set>

namespace tarn::service::configuration {

TEST(ReplaceTest, ReplacesEveryOccurrence) {
    EXPECT_EQ(replace("a %x b %x", "%x", "1"), "a 1 b 1");
    EXPECT_EQ(replace("nothing", "%x", "1"), "nothing");
    EXPECT_EQ(replace("%x%x", "%x", ""), "");
    EXPECT_EQ(replace("", "%x", "1"), "");
}

TEST(ReplaceTest, BeginsAgainAtTheStartAfterEachReplacement) {
    EXPECT_EQ(replace("aab", "ab", "b"), "b");
    EXPECT_EQ(replace("%%xx", "%x", ""), "");
}

TEST(ReplaceTest, AnEmptyPatternReplacesNothing) {
    EXPECT_EQ(replace("text", "", "x"), "text");
}

namespace {

constexpr std::size_t longest = 1000;

std::optional<std::string> within(const std::string& text, const std::string& pattern,
                                  const std::string& replacement) {
    return replaceWithin(text, pattern, replacement, longest);
}

/// Every text over "ab" up to a length.
std::set<std::string> textsUpTo(std::size_t length) {
    std::set<std::string> texts = {""};
    std::set<std::string> last = texts;
    for (std::size_t size = 1; size <= length; ++size) {
        std::set<std::string> next;
        for (const auto& text : last) {
            next.insert({text + "a", text + "b"});
        }
        texts.insert(next.begin(), next.end());
        last = next;
    }
    return texts;
}

}  // namespace

TEST(ReplaceWithinTest, DoesTheSameWhereReplacingEnds) {
    EXPECT_EQ(within("a %x b %x", "%x", "1"), "a 1 b 1");
    EXPECT_EQ(within("aab", "ab", "b"), "b");
    EXPECT_EQ(within("%list", "%list", "0 %"), "0 %");
    EXPECT_EQ(within("%list", "%list", "%line-count"), "%line-count");
    EXPECT_EQ(within("text", "", "x"), "text");
}

TEST(ReplaceWithinTest, RefusesAReplacementThatHoldsThePatternWhereThatStands) {
    EXPECT_EQ(within("svc %list", "%list", "%list"), std::nullopt);
    EXPECT_EQ(within("svc %list", "%list", "0 %list 1"), std::nullopt);
    EXPECT_EQ(within("svc", "%list", "%list"), "svc");
}

TEST(ReplaceWithinTest, RefusesWhatTheTextThatFollowsCompletesForEver) {
    EXPECT_EQ(within("abb", "ab", "bbaa"), std::nullopt);
}

TEST(ReplaceWithinTest, RefusesWhatBecomesTooLong) {
    EXPECT_EQ(within("xx", "x", std::string(longest / 2, '1')), std::string(longest, '1'));
    EXPECT_EQ(within("xx", "x", std::string(longest / 2 + 1, '1')), std::nullopt);
}

TEST(ReplaceWithinTest, AlwaysEndsAndNeverLeavesAnOccurrence) {
    unsigned refused = 0;
    for (const auto& pattern : textsUpTo(3)) {
        for (const auto& replacement : textsUpTo(4)) {
            for (const auto& text : textsUpTo(5)) {
                const auto result = within(text, pattern, replacement);
                refused += result ? 0 : 1;
                EXPECT_TRUE(!result || pattern.empty() ||
                            result->find(pattern) == std::string::npos)
                    << text << ": " << pattern << " to " << replacement;
            }
        }
    }
    EXPECT_GT(refused, 100U);
}

}  // namespace tarn::service::configuration
