#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/cli/TarnctlFixture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::cli {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class ConfigCommandsTest : public testing::Test {
  protected:
    /// A file that is good but for this text, which is its second line.
    std::string fileWith(const std::string& secondLine) const {
        return folder.write("configuration.xml",
                            "<TarnHubConfig>\n" + secondLine +
                                "\n"
                                "<Paths><WorkflowLauncher>/bin/true</WorkflowLauncher>\n"
                                "<EngineLauncher>/bin/true</EngineLauncher></Paths>\n"
                                "</TarnHubConfig>\n");
    }

    const test::TemporaryFolder folder;
};

const std::string badEndpoint =
    "<Endpoints><RequestsEndpoint>nonsense</RequestsEndpoint></Endpoints>";

}  // namespace

TEST_F(ConfigCommandsTest, CheckNamesFileLineAndElementOfAnError) {
    const std::string file = fileWith(badEndpoint);
    const CommandResult run = runLine({"config", "check", file});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_THAT(run.out, StartsWith(file + ":2: error: element RequestsEndpoint: "));
    EXPECT_EQ(run.err, "");
}

TEST_F(ConfigCommandsTest, CheckIsOneJsonDocument) {
    const std::string file = fileWith(badEndpoint);
    const CommandResult run = runLine({"config", "check", file, "--json"});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    json document = json::parse(run.out);
    EXPECT_EQ(document["file"], file);
    ASSERT_EQ(document["problems"].size(), 1U);
    EXPECT_EQ(document["problems"][0]["severity"], "error");
    EXPECT_EQ(document["problems"][0]["line"], 2);
    EXPECT_EQ(document["problems"][0]["element"], "RequestsEndpoint");
    EXPECT_NE(document["problems"][0]["text"], "");
}

TEST_F(ConfigCommandsTest, CheckIsDoneWithWarningsAlone) {
    const std::string file = fileWith("<Nonsense>x</Nonsense>");
    const CommandResult run = runLine({"config", "check", file});
    EXPECT_EQ(run.status, ExitStatus::Done) << run.out;
    EXPECT_THAT(run.out, StartsWith(file + ":2: warning: element Nonsense: "));
}

TEST_F(ConfigCommandsTest, CheckSaysThatAFileIsGood) {
    const std::string file = fileWith("");
    const CommandResult run = runLine({"config", "check", file});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_EQ(run.out, file + ": nothing to complain of\n");
    EXPECT_EQ(json::parse(runLine({"config", "check", file, "--json"}).out)["problems"],
              json::array());
}

TEST_F(ConfigCommandsTest, CheckReportsAFileThatIsNotThere) {
    const std::string file = (folder.path() / "none.xml").string();
    const CommandResult run = runLine({"config", "check", file});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_THAT(run.out, StartsWith(file + ": error: "));
}

TEST_F(ConfigCommandsTest, CheckEscapesWhatStandsInTheFile) {
    const std::string file = fileWith(
        "<Endpoints><RequestsEndpoint>\x1b[2J</RequestsEndpoint></Endpoints><\x1b>x</\x1b>");
    const CommandResult run = runLine({"config", "check", file});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_THAT(run.out, HasSubstr("RequestsEndpoint"));
    EXPECT_EQ(run.out.find('\x1b'), std::string::npos);
}

}  // namespace tarn::cli
