#include "service/workflows/JobCellSetup.h"

#include <gmock/gmock.h>

#include "proto/service.pb.h"
#include "service/configuration/JobCellSettings.h"

namespace tarn::service {
namespace {

using testing::ElementsAre;

struct JobCellSetupTest : testing::Test {
    std::string describe(const std::map<std::string, std::vector<std::string>>& properties = {}) {
        cell.Clear();
        return describeCell(settings, properties, cell);
    }

    configuration::JobCellSettings settings;
    tarn::service::proto::JobCell cell;
};

TEST_F(JobCellSetupTest, SaysWhatTheConfigurationSays) {
    settings = {.isGiven = true,
                .isRequired = true,
                .readFolders = {"/r"},
                .writeFolders = {"/w"},
                .refusedElements = {"fdsink"},
                .user = "somebody",
                .memoryMiB = 2,
                .processes = 3,
                .descriptors = 4};
    EXPECT_EQ(describe(), "");
    EXPECT_TRUE(cell.folders_are_named());
    EXPECT_TRUE(cell.required());
    EXPECT_THAT(cell.read_folders(), ElementsAre("/r"));
    EXPECT_THAT(cell.write_folders(), ElementsAre("/w"));
    EXPECT_THAT(cell.refused_elements(), ElementsAre("fdsink"));
    EXPECT_EQ(cell.user(), "somebody");
    EXPECT_EQ(cell.memory_bytes(), 2u << 20);
    EXPECT_EQ(cell.processes(), 3u);
    EXPECT_EQ(cell.descriptors(), 4u);
}

TEST_F(JobCellSetupTest, WithoutTheSectionNoFolderIsNamedAndNothingLimited) {
    EXPECT_EQ(describe(), "");
    EXPECT_FALSE(cell.folders_are_named());
    EXPECT_EQ(cell.memory_bytes(), 0u);
    EXPECT_EQ(cell.user(), "tarn-job");
}

TEST_F(JobCellSetupTest, AJobMayAskForLess) {
    settings.memoryMiB = 1000;
    EXPECT_EQ(describe({{"MemoryMiB", {"10"}}, {"Descriptors", {"64"}}}), "");
    EXPECT_EQ(cell.memory_bytes(), 10u << 20);
    EXPECT_EQ(cell.descriptors(), 64u);
}

TEST_F(JobCellSetupTest, MoreIsNotGivenAndTold) {
    settings.memoryMiB = 1000;
    EXPECT_EQ(describe({{"MemoryMiB", {"1001"}}}), "MemoryMiB 1001 (it gets 1000)");
    EXPECT_EQ(cell.memory_bytes(), std::uint64_t{1000} << 20);
}

TEST_F(JobCellSetupTest, WhatIsNoNumberIsNoWish) {
    settings.processes = 5;
    for (const auto* const text : {"", "0", "-1", "3x", " 3", "99999999999999999999"}) {
        EXPECT_EQ(describe({{"Processes", {text}}}), "") << text;
        EXPECT_EQ(cell.processes(), 5u) << text;
    }
    EXPECT_EQ(describe({{"Processes", {"3", "4"}}}), "");
    EXPECT_EQ(cell.processes(), 5u);
}

}  // namespace
}  // namespace tarn::service
