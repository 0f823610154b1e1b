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

TEST(PersistentFileName, SaysUnknownWhenTheTimeCannotBeTold) {
    EXPECT_EQ(stampedFileName(std::numeric_limits<std::time_t>::max(), "cam1"), "unk_cam1");
}

TEST(PersistentFileName, MayBeAnyNameInsideTheFolder) {
    EXPECT_EQ(fileNameProblem("keep.job"), "");
    EXPECT_EQ(fileNameProblem("..keep; $(id)"), "");
    EXPECT_EQ(fileNameProblem(std::string(255, 'x')), "");
}

TEST(PersistentFileName, MayNotLeaveTheFolder) {
    for (const std::string name : {"", ".", "..", "/", "../../etc/x", "a/b"}) {
        EXPECT_THAT(fileNameProblem(name), HasSubstr("is not a file name")) << name;
    }
    EXPECT_THAT(fileNameProblem(std::string("a\0b", 3)), HasSubstr("\"a\\x00b\" is not"));
}

TEST(PersistentFileName, MayNotBeLongerThanTheFileSystemTakes) {
    EXPECT_THAT(fileNameProblem(std::string(256, 'x')), HasSubstr("too long"));
}

}  // namespace tarn::service
