#include "platform/utils/log/PendingText.h"

#include <gtest/gtest.h>

namespace tarn::utils {

TEST(PendingTextTest, GoesOutInTheOrderInWhichItCame) {
    PendingText text;
    text.append("one");
    text.append(" two");
    text.drop(2);
    EXPECT_EQ(text.view(), "e two");
    text.append(" three");
    text.drop(3);
    EXPECT_EQ(text.view(), "wo three");
    EXPECT_EQ(text.size(), 8U);
    text.drop(8);
    EXPECT_TRUE(text.isEmpty());
    EXPECT_EQ(text.view(), "");
}

// A reader who is always a little behind.
TEST(PendingTextTest, TakesNoMemoryForWhatHasGone) {
    PendingText text;
    text.append(std::string(1000, 'x'));
    for (int i = 0; i < 10000; ++i) {
        text.append(std::string(100, 'x'));
        text.drop(100);
    }
    EXPECT_EQ(text.size(), 1000U);
    EXPECT_LT(text.capacity(), 10000U);
}

}  // namespace tarn::utils
