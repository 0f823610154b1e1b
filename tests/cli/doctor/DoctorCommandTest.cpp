#include <gmock/gmock.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/CommandLine.h"
#include "cli/doctor/Checks.h"
#include "cli/output/Output.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::cli {

using nlohmann::json;
using testing::HasSubstr;

namespace {

struct DoctorRun {
    ExitStatus status;
    std::string out;
};

DoctorRun runDoctor(const std::vector<std::string>& arguments) {
    std::ostringstream out;
    std::ostringstream err;
    Output output(out, err, {});
    const ExitStatus status = runCommandLine(arguments, output);
    EXPECT_EQ(err.str(), "");
    return {status, out.str()};
}

}  // namespace

// On whatever machine this runs; what it finds there is nothing to rely on.
TEST(DoctorCommandTest, NamesEveryCheckAndARemedyForEachFinding) {
    const auto run = runDoctor({"doctor"});
    for (const auto& check : doctorsChecks) {
        EXPECT_THAT(run.out, HasSubstr(check.name));
    }
    const auto remedies = json::parse(runDoctor({"doctor", "--json"}).out)["findings"];
    EXPECT_TRUE(std::all_of(remedies.begin(), remedies.end(),
                            [](const json& finding) { return finding["remedy"] != ""; }));
}

TEST(DoctorCommandTest, AnErrorIsItsExitStatus) {
    const test::TemporaryFolder folder;
    const auto file = folder.write("configuration.xml", "no configuration\n");
    const auto run = runDoctor({"doctor", "--json", "--configuration", file});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    const auto findings = json::parse(run.out)["findings"];
    EXPECT_TRUE(std::any_of(findings.begin(), findings.end(), [&](const json& finding) {
        return finding["check"] == "configuration" && finding["severity"] == "error" &&
               finding["text"].get<std::string>().starts_with(file);
    })) << findings;
}

}  // namespace tarn::cli
