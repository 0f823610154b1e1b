#include "service/api/PersistentFileName.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <limits>

namespace tarn::service {

using testing::HasSubstr;

std::time_t localTime(int year, int month, int day, int hour, int minute, int second) {
    std::tm local{};
    local.tm_year = year - 1900;
    local.tm_mon = month - 1;
    local.tm_mday = day;
    local.tm_hour = hour;
    local.tm_min = minute;
    local.tm_sec = second;
    local.tm_isdst = -1;
    return std::mktime(&local);
}

TEST(PersistentFileName, IsTheLocalTimeAndTheNameOfTheJob) {
    EXPECT_EQ(stampedFileName(localTime(2024, 3, 5, 14, 7, 9), "cam1"), "20240305-140709_cam1");
}

TEST(PersistentFileName, HoldsWhatAFileNameCanHoldOfTheNameOfTheJob) {
    constexpr auto never = std::numeric_limits<std::time_t>::max();
    EXPECT_EQ(stampedFileName(never, "studio 2/cam1"), "unk_studio 2_cam1");
    EXPECT_EQ(stampedFileName(never, std::string("/../a\0b", 7)), "unk__.._a_b");
    EXPECT_EQ(stampedFileName(never, std::string(300, 'x')), "unk_" + std::string(251, 'x'));
    EXPECT_EQ(stampedFileName(never, std::string(250, 'x') + "\xc3\xa9"),
              "unk_" + std::string(250, 'x'));
}

TEST(PersistentFileName, SaysUnknownWhenTheTimeCannotBeTold) {
    EXPECT_EQ(stampedFileName(std::numeric_limits<std::time_t>::max(), "cam1"), "unk_cam1");
}

TEST(PersistentFileName, MayBeAnyNameInsideTheFolder) {
    EXPECT_EQ(fileNameProblem("keep.job"), "");
    EXPECT_EQ(fileNameProblem("keep..; $(id)"), "");
    EXPECT_EQ(fileNameProblem(std::string(255, 'x')), "");
}

TEST(PersistentFileName, MayNotLeaveTheFolder) {
    for (const std::string name : {"", ".", "..", "/", "../../etc/x", "a/b"}) {
        EXPECT_THAT(fileNameProblem(name), HasSubstr("is not a file name")) << name;
    }
    EXPECT_THAT(fileNameProblem(std::string("a\0b", 3)), HasSubstr("\"a\\x00b\" is not"));
}

TEST(PersistentFileName, MayNotBeginWithADot) {
    EXPECT_EQ(fileNameProblem(".incomplete"), "\".incomplete\" begins with a dot");
    EXPECT_THAT(fileNameProblem("..keep"), HasSubstr("begins with a dot"));
}

TEST(PersistentFileName, MayNotBeLongerThanTheFileSystemTakes) {
    EXPECT_THAT(fileNameProblem(std::string(256, 'x')), HasSubstr("too long"));
}

}  // namespace tarn::service
