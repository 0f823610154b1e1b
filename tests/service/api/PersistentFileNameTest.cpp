#include "service/api/PersistentFileName.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <ctime>
#include <limits>
#include <optional>
#include <string>

namespace tarn::service {

using testing::HasSubstr;

/// In a zone that is neither that of the machine nor UTC.
class StampedFileNameTest : public testing::Test {
  protected:
    StampedFileNameTest() {
        if (const char* const zone = std::getenv("TZ")) {
            before = zone;
        }
        ::setenv("TZ", "HERE-05:30", /*replace=*/1);
        ::tzset();
    }
    ~StampedFileNameTest() override {
        before ? ::setenv("TZ", before->c_str(), /*replace=*/1) : ::unsetenv("TZ");
        ::tzset();
    }

    static constexpr std::time_t moment = 1709609829;  // 2024-03-05 03:37:09 UTC

  private:
    std::optional<std::string> before;
};

TEST_F(StampedFileNameTest, IsTheLocalTimeAndTheNameOfTheJob) {
    EXPECT_EQ(stampedFileName(moment, "cam1"), "20240305-090709_cam1");
}

TEST(PersistentFileNameTest, HoldsWhatAFileNameCanHoldOfTheNameOfTheJob) {
    constexpr auto never = std::numeric_limits<std::time_t>::max();
    EXPECT_EQ(stampedFileName(never, "studio 2/cam1"), "unk_studio 2_cam1");
    EXPECT_EQ(stampedFileName(never, std::string("/../a\0b", 7)), "unk__.._a_b");
    EXPECT_EQ(stampedFileName(never, std::string(300, 'x')), "unk_" + std::string(251, 'x'));
    EXPECT_EQ(stampedFileName(never, std::string(250, 'x') + "\xc3\xa9"),
              "unk_" + std::string(250, 'x'));
}

TEST_F(StampedFileNameTest, SaysUnknownWhenTheTimeCannotBeTold) {
    EXPECT_EQ(stampedFileName(std::numeric_limits<std::time_t>::max(), "cam1"), "unk_cam1");
}

TEST(PersistentFileNameTest, MayBeAnyNameInsideTheFolder) {
    EXPECT_EQ(fileNameProblem("keep.job"), "");
    EXPECT_EQ(fileNameProblem("keep..; $(id)"), "");
    EXPECT_EQ(fileNameProblem(std::string(255, 'x')), "");
}

TEST(PersistentFileNameTest, MayNotLeaveTheFolder) {
    for (const std::string name : {"", ".", "..", "/", "../../etc/x", "a/b"}) {
        EXPECT_THAT(fileNameProblem(name), HasSubstr("is not a file name")) << name;
    }
    EXPECT_THAT(fileNameProblem(std::string("a\0b", 3)), HasSubstr("\"a\\x00b\" is not"));
}

TEST(PersistentFileNameTest, MayNotBeginWithADot) {
    EXPECT_EQ(fileNameProblem(".incomplete"), "\".incomplete\" begins with a dot");
    EXPECT_THAT(fileNameProblem("..keep"), HasSubstr("begins with a dot"));
}

TEST(PersistentFileNameTest, MayNotBeLongerThanTheFileSystemTakes) {
    EXPECT_THAT(fileNameProblem(std::string(256, 'x')), HasSubstr("too long"));
}

}  // namespace tarn::service
