#include "peers/job_runtime/persistence/SafeFileName.h"

#include <gtest/gtest.h>

namespace tarn::peers {
namespace {

TEST(SafeFileNameTest, KeepsWhatIsHarmless) {
    EXPECT_EQ(safeFileName("cam1_@%+=:,.-Z"), "cam1_@%+=:,.-Z");
}

TEST(SafeFileNameTest, EncodesSlashesBlanksLineEndsAndHighBytes) {
    EXPECT_EQ(safeFileName("a/b c\n\xC3"), "a%2Fb%20c%0A%C3");
    EXPECT_EQ(safeFileName(std::string("a\0b", 3)), "a%00b");
}

TEST(SafeFileNameTest, NeverBeginsWithADot) {
    EXPECT_EQ(safeFileName(".."), "%2E.");
    EXPECT_EQ(safeFileName("../../etc/x"), "%2E.%2F..%2Fetc%2Fx");
}

TEST(SafeFileNameTest, IsNeverEmpty) {
    EXPECT_EQ(safeFileName(""), "unnamed");
}

TEST(SafeFileNameTest, KeepsAHundredCharactersWhole) {
    EXPECT_EQ(safeFileName(std::string(100, 'a')), std::string(100, 'a'));
}

TEST(SafeFileNameTest, CutsALongerTextAndTellsTwoOfThemApart) {
    const std::string one = safeFileName(std::string(100'000, 'a') + "1");
    const std::string two = safeFileName(std::string(100'000, 'a') + "2");
    EXPECT_EQ(one.substr(0, 101), std::string(100, 'a') + "-");
    EXPECT_EQ(safeFileName("b" + std::string(100, 'a')).substr(0, 101),
              "b" + std::string(99, 'a') + "-");
    EXPECT_LT(one.size(), 150U);
    EXPECT_NE(one, two);
    EXPECT_EQ(one, safeFileName(std::string(100'000, 'a') + "1"));
}

}  // namespace
}  // namespace tarn::peers
