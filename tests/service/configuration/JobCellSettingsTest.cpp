#include "service/configuration/JobCellSettings.h"

#include <gmock/gmock.h>

#include "service/configuration/ConfigurationError.h"
#include "tests/service/configuration/ParsedElement.h"

namespace tarn::service::configuration {

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

struct JobCellSettingsTest : testing::Test {
    JobCellSettings read(const std::string& children, const std::string& attributes = {}) {
        JobCellSettings settings;
        readJobCell(*ParsedElement("<Jobs" + attributes + ">" + children + "</Jobs>"), settings,
                    owner);
        return settings;
    }

    std::string errorOf(const std::string& children) {
        try {
            read(children);
            return "none";
        } catch (const ConfigurationError& error) {
            return error.what();
        }
    }

    const utils::MessageFormatter owner{"Reader"};
};

}  // namespace

TEST_F(JobCellSettingsTest, AnEmptySectionConfinesJobsToTheDefaultFolder) {
    const auto settings = read("");
    EXPECT_TRUE(settings.isGiven);
    EXPECT_FALSE(settings.isRequired);
    EXPECT_THAT(settings.readFolders, IsEmpty());
    EXPECT_THAT(settings.writeFolders, ElementsAre("/srv/tarn"));
    EXPECT_THAT(settings.refusedElements, Contains("fdsink"));
    EXPECT_EQ(settings.user, "tarn-job");
    EXPECT_EQ(settings.memoryMiB, 0);
}

TEST_F(JobCellSettingsTest, EverythingIsTakenAsItStands) {
    const auto settings = read(
        "<ReadFolder>/a</ReadFolder><ReadFolder>/b</ReadFolder><WriteFolder>/c</WriteFolder>"
        "<RefusedElement>shmsink</RefusedElement><User>x</User><MemoryMiB>5</MemoryMiB>"
        "<Processes>6</Processes><Descriptors>7</Descriptors>",
        " required=\"true\"");
    EXPECT_TRUE(settings.isRequired);
    EXPECT_THAT(settings.readFolders, ElementsAre("/a", "/b"));
    EXPECT_THAT(settings.writeFolders, ElementsAre("/c"));
    EXPECT_THAT(settings.refusedElements, ElementsAre("shmsink"));
    EXPECT_EQ(settings.user, "x");
    EXPECT_EQ(settings.memoryMiB, 5);
    EXPECT_EQ(settings.processes, 6);
    EXPECT_EQ(settings.descriptors, 7);
}

TEST_F(JobCellSettingsTest, AFolderIsAnAbsolutePath) {
    EXPECT_EQ(errorOf("<ReadFolder>media</ReadFolder>"),
              "Reader > ReadFolder must be an absolute path: media");
    EXPECT_EQ(errorOf("<WriteFolder>~/x</WriteFolder>"),
              "Reader > WriteFolder must be an absolute path: ~/x");
}

TEST_F(JobCellSettingsTest, ALimitIsANumberFromOneOn) {
    for (const auto* const text : {"0", "-1", "much", ""}) {
        EXPECT_EQ(errorOf(std::string("<MemoryMiB>") + text + "</MemoryMiB>"),
                  "Reader > MemoryMiB must be a number from 1 on")
            << text;
    }
}

}  // namespace tarn::service::configuration
