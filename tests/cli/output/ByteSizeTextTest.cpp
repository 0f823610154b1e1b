#include "cli/output/ByteSize.h"

#include <gtest/gtest.h>

namespace tarn::cli {

TEST(ByteSizeTextTest, WritesTheUnitThatFits) {
    EXPECT_EQ(byteSizeText(0), "0 B");
    EXPECT_EQ(byteSizeText(1023), "1023 B");
    EXPECT_EQ(byteSizeText(1024), "1 KiB");
    EXPECT_EQ(byteSizeText(1536), "1.5 KiB");
    EXPECT_EQ(byteSizeText(10737418240), "10 GiB");
    EXPECT_EQ(byteSizeText(1500000000000), "1.4 TiB");
    EXPECT_EQ(byteSizeText(18446744073709551615U), "16384 PiB");
}

TEST(ByteSizeTextTest, NeverRoundsUpTo1024) {
    EXPECT_EQ(byteSizeText(1048575), "1 MiB");
    EXPECT_EQ(byteSizeText(1073741823), "1 GiB");
}

TEST(ByteSizeTextTest, LeavesTextThatIsNoSize) {
    EXPECT_EQ(byteSizeText("2048"), "2 KiB");
    EXPECT_EQ(byteSizeText("-1"), "-1");
    EXPECT_EQ(byteSizeText("2048x"), "2048x");
    EXPECT_EQ(byteSizeText(""), "");
}

}  // namespace tarn::cli
