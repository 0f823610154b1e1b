#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/cli/TarnctlFixture.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/peers/FakeJob.h"

namespace tarn::cli {

using nlohmann::json;
using test::FakeJob;
using testing::HasSubstr;
using testing::Not;

namespace {

struct JobLogCommandTest : TarnctlFixture {
    test::TemporaryFolder folder;
    FakeJob job{firstId, "cam1"};

    JobLogCommandTest() { service.runs(job.entry()); }

    void logs(const std::string& text) { job.keepsLog(folder.write("job.log", text)); }
};

}  // namespace

TEST_F(JobLogCommandTest, ShowsTheLastLinesOfTheFileThatTheJobNames) {
    logs("one\ntwo\nthree\n");
    const CommandResult run = tarnctl({"jobs", "log", "3f2a", "--lines", "2"});
    EXPECT_EQ(run.status, ExitStatus::Done) << run.err;
    EXPECT_EQ(run.out, "two\nthree\n");
}

TEST_F(JobLogCommandTest, ShowsFiftyLinesUnlessToldOtherwise) {
    std::string text;
    for (int n = 0; n < 60; ++n) {
        text += "line " + std::to_string(n) + "\n";
    }
    logs(text);
    const CommandResult run = tarnctl({"jobs", "log", firstId});
    EXPECT_THAT(run.out, testing::StartsWith("line 10\n"));
    EXPECT_THAT(run.out, testing::EndsWith("line 59\n"));
}

TEST_F(JobLogCommandTest, KeepsHostileTextAwayFromTheTerminal) {
    logs("\x1b]0;owned\x07\n\xff\n");
    const CommandResult run = tarnctl({"jobs", "log", firstId});
    EXPECT_EQ(run.out, "\\x1b]0;owned\\x07\n\\xff\n");
}

TEST_F(JobLogCommandTest, IsOneJsonDocument) {
    logs("one\n\xff\n");
    const CommandResult run = tarnctl({"jobs", "log", firstId, "--json"});
    const auto document = json::parse(run.out);
    EXPECT_EQ(document["job_id"], firstId);
    EXPECT_EQ(document["lines"].size(), 2U);
    EXPECT_EQ(document["lines"][0], "one");
}

TEST_F(JobLogCommandTest, FollowsUntilTheJobIsGone) {
    logs("one\n");
    service.answers(test::FakeService::Request::GET_JOB_BY_UUID, [this](const auto&) {
        folder.write("job.log", "one\nlast\n");
        auto reply = std::make_unique<test::FakeService::Reply>();
        reply->set_type(test::FakeService::Reply::GET_JOB_BY_UUID);
        reply->set_success(true);
        return reply;
    });
    const CommandResult run = tarnctl({"jobs", "log", firstId, "--follow"});
    EXPECT_EQ(run.status, ExitStatus::Done) << run.err;
    EXPECT_EQ(run.out, "one\nlast\n");
}

TEST_F(JobLogCommandTest, SaysThatThereIsNoLog) {
    job.keepsLog("");
    const CommandResult none = tarnctl({"jobs", "log", firstId});
    EXPECT_EQ(none.status, ExitStatus::Failed);
    EXPECT_EQ(none.err, "tarnctl: the job keeps no log file\n");
    job.keepsLog("/nowhere/\x1b.log");
    const CommandResult missing = tarnctl({"jobs", "log", firstId});
    EXPECT_EQ(missing.status, ExitStatus::Failed);
    EXPECT_THAT(missing.err, HasSubstr("cannot read the log file /nowhere/\\x1b.log: No such"));
}

TEST_F(JobLogCommandTest, TakesNoSillyNumberOfLines) {
    EXPECT_EQ(tarnctl({"jobs", "log", firstId, "--lines", "-1"}).status, ExitStatus::Usage);
    EXPECT_EQ(tarnctl({"jobs", "log", firstId, "--lines", "1000000"}).status, ExitStatus::Usage);
}

}  // namespace tarn::cli
