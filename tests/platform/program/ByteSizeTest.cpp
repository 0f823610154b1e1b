#include "platform/program/ByteSize.h"

#include <gtest/gtest.h>

namespace tarn::program {

TEST(ByteSizeTest, ReadsBytes) {
    EXPECT_EQ(parseByteSize("0"), 0U);
    EXPECT_EQ(parseByteSize("4096"), 4096U);
    EXPECT_EQ(parseByteSize("4096B"), 4096U);
    EXPECT_EQ(parseByteSize("9007199254740993"), 9007199254740993U);
}

TEST(ByteSizeTest, ReadsPowersOf1024) {
    EXPECT_EQ(parseByteSize("2K"), 2048U);
    EXPECT_EQ(parseByteSize("10G"), 10737418240U);
    EXPECT_EQ(parseByteSize("10g"), 10737418240U);
    EXPECT_EQ(parseByteSize("10GiB"), 10737418240U);
    EXPECT_EQ(parseByteSize("1.5 MiB"), 1572864U);
    EXPECT_EQ(parseByteSize("3T"), 3298534883328U);
    EXPECT_EQ(parseByteSize("1P"), 1125899906842624U);
}

TEST(ByteSizeTest, ReadsPowersOf1000) {
    EXPECT_EQ(parseByteSize("2KB"), 2000U);
    EXPECT_EQ(parseByteSize("1.5TB"), 1500000000000U);
}

TEST(ByteSizeTest, RefusesWhatIsNoSize) {
    for (const char* const text : {"", " ", "G", "-1", "+1", "1X", "1GG", "1Gib", "1.2.3", ".",
                                   "1e3", "0x10", "1 G B", "nan", "1,5G", "10 G ", "1B2"}) {
        EXPECT_FALSE(parseByteSize(text)) << text;
    }
}

TEST(ByteSizeTest, RefusesWhatIsTooMuch) {
    EXPECT_EQ(parseByteSize("9223372036854775807"), 9223372036854775807U);
    EXPECT_FALSE(parseByteSize("9223372036854775808"));
    EXPECT_FALSE(parseByteSize("8192P"));
    EXPECT_FALSE(parseByteSize(std::string(10000, '9')));
}

}  // namespace tarn::program
