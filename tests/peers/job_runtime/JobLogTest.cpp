#include "peers/job_runtime/JobLog.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/utils/Log.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers {
namespace {

struct JobLogTest : testing::Test {
    tarn::test::TemporaryFolder folder;
    const tarn::test::LogCapture putsBackTheSink;
    const std::string log = (folder.path() / "log").string();
};

TEST_F(JobLogTest, MakesTheFolderAndWritesThere) {
    const auto file = openJobLog({log + "/jobs"}, "../a");
    EXPECT_EQ(file, log + "/jobs/%2E.%2Fa.log");
    utils::logInfo("hello");
    EXPECT_NE(tarn::test::readFile(file).find("hello"), std::string::npos);
}

TEST_F(JobLogTest, TakesTheNextFolderWhenOneCannotBeUsed) {
    const auto notAFolder = folder.write("file", "");
    EXPECT_EQ(openJobLog({notAFolder, log}, "a"), log + "/a.log");
}

TEST_F(JobLogTest, WithoutAnyFolderTheLogGoesNowhere) {
    EXPECT_EQ(openJobLog({folder.write("file", "")}, "a"), "");
    EXPECT_FALSE(utils::isLogEnabled(utils::LogLevel::Fatal));
}

TEST_F(JobLogTest, IsLedNowhereElseByALinkUnderTmp) {
    std::filesystem::create_directory(log);
    std::filesystem::create_directory_symlink(log, folder.path() / "link");
    EXPECT_EQ(openJobLog({(folder.path() / "link").string()}, "a"), "");
}

TEST_F(JobLogTest, StaysWithinItsSizeAndOneOlderFile) {
    const auto file = openJobLog({log}, "a");
    const std::string line(100'000, 'x');
    for (int i = 0; i < 40; ++i) {
        utils::logInfo(line);
    }
    EXPECT_LE(std::filesystem::file_size(file), 1U << 20U);
    EXPECT_TRUE(std::filesystem::exists(file + ".1"));
    EXPECT_FALSE(std::filesystem::exists(file + ".2"));
}

}  // namespace
}  // namespace tarn::peers
