#include "service/configuration/Replace.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

namespace tarn::service::configuration {

TEST(Replace, ReplacesEveryOccurrence) {
    EXPECT_EQ(replace("a %x b %x", "%x", "1"), "a 1 b 1");
    EXPECT_EQ(replace("nothing", "%x", "1"), "nothing");
    EXPECT_EQ(replace("%x%x", "%x", ""), "");
    EXPECT_EQ(replace("", "%x", "1"), "");
}

TEST(Replace, BeginsAgainAtTheStartAfterEachReplacement) {
    EXPECT_EQ(replace("aab", "ab", "b"), "b");
    EXPECT_EQ(replace("%%xx", "%x", ""), "");
}

TEST(Replace, AnEmptyPatternReplacesNothing) {
    EXPECT_EQ(replace("text", "", "x"), "text");
}

TEST(MayReplaceForever, IsTrueForAValueThatHoldsThePattern) {
    EXPECT_TRUE(mayReplaceForever("%list", "%list"));
    EXPECT_TRUE(mayReplaceForever("%list", "0 %list 1"));
}

TEST(MayReplaceForever, IsTrueForAValueThatEndsWithTheBeginningOfThePattern) {
    EXPECT_TRUE(mayReplaceForever("%list", "0 %"));
    EXPECT_TRUE(mayReplaceForever("%list", "0 %lis"));
    EXPECT_TRUE(mayReplaceForever("%list", "%l"));
}

TEST(MayReplaceForever, IsFalseForOtherValues) {
    EXPECT_FALSE(mayReplaceForever("%list", ""));
    EXPECT_FALSE(mayReplaceForever("%list", "0 1"));
    EXPECT_FALSE(mayReplaceForever("%list", "% l"));
    EXPECT_FALSE(mayReplaceForever("%list", "%line-count"));
    EXPECT_FALSE(mayReplaceForever("%list", "ist"));
}

namespace {

/// Every text over "ab" up to a length.
std::set<std::string> textsUpTo(std::size_t length) {
    std::set<std::string> texts = {""};
    std::set<std::string> longest = texts;
    for (std::size_t size = 1; size <= length; ++size) {
        std::set<std::string> next;
        for (const auto& text : longest) {
            next.insert({text + "a", text + "b"});
        }
        texts.insert(next.begin(), next.end());
        longest = next;
    }
    return texts;
}

/// The same steps as replace, but giving up.
bool endsWithin(unsigned steps, std::string text, const std::string& pattern,
                const std::string& replacement) {
    for (auto position = text.find(pattern); position != std::string::npos;
         position = text.find(pattern)) {
        if (steps-- == 0) {
            return false;
        }
        text.replace(position, pattern.size(), replacement);
    }
    return true;
}

}  // namespace

TEST(MayReplaceForever, FalseMeansThatReplacingEndsWithEveryText) {
    unsigned tried = 0;
    for (const auto& pattern : textsUpTo(3)) {
        for (const auto& replacement : textsUpTo(4)) {
            if (pattern.empty() || mayReplaceForever(pattern, replacement)) {
                continue;
            }
            for (const auto& text : textsUpTo(6)) {
                ++tried;
                EXPECT_TRUE(endsWithin(1000, text, pattern, replacement))
                    << text << ": " << pattern << " to " << replacement;
            }
        }
    }
    EXPECT_GT(tried, 1000U);
}

TEST(MayReplaceForever, TheBeginningOfThePatternAtTheEndIsReallyEndless) {
    EXPECT_TRUE(mayReplaceForever("ab", "bbaa"));
    EXPECT_FALSE(endsWithin(1000, "abb", "ab", "bbaa"));
}

}  // namespace tarn::service::configuration
