#include "peers/job_runtime/launcher/JobLog.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/utils/Log.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers {
namespace {

struct JobLogTest : testing::Test {
    tarn::test::TemporaryFolder folder{tarn::test::Medium::Disk};  // below /tmp
    const tarn::test::LogCapture putsBackTheSink;
    const std::string log = (folder.path() / "log").string();
};

/// A variable of the environment, as it was before at the end.
class Variable {
  public:
    Variable(std::string name, const std::string& value) : name(std::move(name)) {
        if (const char* const text = ::getenv(this->name.c_str())) {
            before = text;
        }
        ::setenv(this->name.c_str(), value.c_str(), /*replace=*/1);
    }
    ~Variable() {
        before ? ::setenv(name.c_str(), before->c_str(), /*replace=*/1) : ::unsetenv(name.c_str());
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

  private:
    const std::string name;
    std::optional<std::string> before;
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

TEST(JobLogFoldersTest, AreTheSystemsTheUsersAndOneThatIsAlwaysThere) {
    const std::string last = "/tmp/halden-tarn-" + std::to_string(::geteuid()) + "/jobs";
    const std::string first = "/var/log/halden-tarn/jobs";
    using Folders = std::vector<std::string>;
    {
        const Variable state("XDG_STATE_HOME", "/state");
        const Variable home("HOME", "/home/me");
        EXPECT_EQ(jobLogFolders(), (Folders{first, "/state/halden-tarn/jobs", last}));
    }
    const Variable noState("XDG_STATE_HOME", "");
    {
        const Variable home("HOME", "/home/me");
        EXPECT_EQ(jobLogFolders(),
                  (Folders{first, "/home/me/.local/state/halden-tarn/jobs", last}));
    }
    const Variable noHome("HOME", "");
    EXPECT_EQ(jobLogFolders(), (Folders{first, last}));
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
