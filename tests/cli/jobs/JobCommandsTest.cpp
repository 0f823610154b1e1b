#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/cli/TarnctlFixture.h"
#include "tests/support/peers/FakeJob.h"

namespace tarn::cli {

using nlohmann::json;
using proto::api_job::ApiToJobRequest;
using proto::api_job::ApiToJobRequestDestroy;
using proto::api_service::ApiToServiceRequestGetJobs;
using test::FakeJob;
using test::FakeService;
using testing::HasSubstr;
using testing::Not;

namespace {

class JobCommandsTest : public TarnctlFixture {};

}  // namespace

TEST_F(JobCommandsTest, ListShowsIdNameOwnerAndEndpoints) {
    auto job = test::runningJob(firstId, "cam1");
    job.mutable_owner()->set_user(0);
    service.runs(job);
    service.runs(test::runningJob(secondId, ""));
    const CommandResult run = tarnctl({"jobs", "list"});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_THAT(run.out, testing::MatchesRegex("ID +NAME +OWNER +COMMAND ENDPOINT +EVENT ENDPOINT\n"
                                               "3f2a[-0-9a-f]+  cam1  root   ipc:.*\n"
                                               "3f2b[-0-9a-f]+  -     -      ipc:.*\n"));
    EXPECT_THAT(run.out, HasSubstr(job.command_endpoint() + "  " + job.event_endpoint()));
}

TEST_F(JobCommandsTest, ListAsksForEverythingUnlessFiltered) {
    tarnctl({"jobs", "list"});
    const auto request = service.lastRequest();
    EXPECT_EQ(request.type(), FakeService::Request::GET_JOBS);
    const auto& filter = request.GetExtension(ApiToServiceRequestGetJobs::base);
    EXPECT_FALSE(filter.has_property());
    EXPECT_FALSE(filter.has_value());
}

TEST_F(JobCommandsTest, ListCarriesTheFilter) {
    tarnctl({"jobs", "list", "--property", "studio", "--value", ""});
    const auto request = service.lastRequest();
    const auto& filter = request.GetExtension(ApiToServiceRequestGetJobs::base);
    EXPECT_EQ(filter.property(), "studio");
    EXPECT_TRUE(filter.has_value());
}

TEST_F(JobCommandsTest, ListIsJsonWhateverBytesAJobsTextsHold) {
    const std::string bytes = "a\xc0\xaf\xed\xa0\x80\xe2\x82";
    const std::string replaced = "a\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd";
    service.runs(test::runningJob(bytes, bytes));
    service.runs(test::runningJob(firstId, "cam1"));
    const CommandResult run = tarnctl({"--json", "jobs", "list"});
    EXPECT_EQ(run.status, ExitStatus::Done) << run.err;
    const auto jobs = json::parse(run.out)["running_jobs"];
    ASSERT_EQ(jobs.size(), 2U);
    EXPECT_EQ(jobs[0]["job_description"]["name"], replaced);
    EXPECT_EQ(jobs[0]["job_description"]["job_id"], replaced);
    EXPECT_EQ(jobs[1]["job_description"]["name"], "cam1");
}

TEST_F(JobCommandsTest, ListSaysWhenNothingRuns) {
    EXPECT_EQ(tarnctl({"jobs", "list"}).out, "no running jobs\n");
    EXPECT_EQ(json::parse(tarnctl({"jobs", "list", "--json"}).out),
              json::parse(R"({"running_jobs": []})"));
}

TEST_F(JobCommandsTest, ListAsksEachJobForItsStateWhenToldTo) {
    const FakeJob playing(firstId, "cam1");
    service.runs(playing.entry());
    service.runs(test::runningJob(secondId, "cam2"));
    const CommandResult run = tarnctl({"jobs", "list", "--state", "--timeout", "0.5"});
    EXPECT_THAT(run.out, testing::MatchesRegex("ID +NAME +STATE +OWNER +COMMAND .*\n"
                                               "3f2a.* cam1  playing    .*\n"
                                               "3f2b.* cam2  no answer  .*\n"));
    json document =
        json::parse(tarnctl({"jobs", "list", "--state", "--json", "--timeout", "0.5"}).out);
    EXPECT_EQ(document["running_jobs"][0]["state"], "playing");
    EXPECT_EQ(document["running_jobs"][1]["state"], "no answer");
}

TEST_F(JobCommandsTest, ListKeepsAHostileNameAwayFromTheTerminal) {
    auto job = test::runningJob(firstId, "\x1b]0;owned\x07\n\xff");
    job.set_event_endpoint("\x1b[2J");
    service.runs(job);
    const CommandResult run = tarnctl({"jobs", "list"});
    EXPECT_THAT(run.out, HasSubstr("\\x1b]0;owned\\x07\\x0a\\xff"));
    EXPECT_THAT(run.out, HasSubstr("\\x1b[2J"));
    EXPECT_THAT(run.out, Not(HasSubstr("\x1b")));
}

TEST_F(JobCommandsTest, ListIsJsonWhateverTheNames) {
    for (const std::string name :
         {"\x1b]0;owned\x07", "\"}]\n", "\xff\xc3", "写真", "\xed\xa0\x80"}) {
        service.runs(test::runningJob(firstId, name));
    }
    const CommandResult run = tarnctl({"jobs", "list", "--json"});
    EXPECT_EQ(run.status, ExitStatus::Done) << run.err;
    json document = json::parse(run.out);
    ASSERT_EQ(document["running_jobs"].size(), 5U);
    EXPECT_EQ(document["running_jobs"][1]["job_description"]["name"], "\"}]\n");
    EXPECT_EQ(document["running_jobs"][3]["job_description"]["name"], "写真");
    EXPECT_THAT(run.out, Not(HasSubstr("\x1b")));
}

TEST_F(JobCommandsTest, ShowPutsTheListAndTheJobsOwnAnswerTogether) {
    const FakeJob job(firstId, "cam1");
    service.runs(job.entry());
    const CommandResult run = tarnctl({"jobs", "show", "3f2a"});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_EQ(run.out, "Id            " + firstId +
                           "\nName          cam1"
                           "\nCommands      " +
                           job.entry().command_endpoint() + "\nEvents        " +
                           job.entry().event_endpoint() +
                           "\nState         playing"
                           "\nPosition      0:12 of 0:30"
                           "\nRunning for   1:02"
                           "\nRestarts      2"
                           "\nLast failure  no signal on input 1"
                           "\nPersistent    no"
                           "\nProcess       4242"
                           "\nLog file      /var/log/tarn/job.log"
                           "\nPipeline      videotestsrc ! fakesink\n");
}

TEST_F(JobCommandsTest, ShowIsOneJsonDocument) {
    const FakeJob job(firstId, "cam1");
    service.runs(job.entry());
    json document = json::parse(tarnctl({"--json", "jobs", "show", firstId}).out);
    EXPECT_EQ(document["job_description"]["name"], "cam1");
    EXPECT_EQ(document["command_endpoint"], job.entry().command_endpoint());
    EXPECT_EQ(document["status"]["state"], "JOB_STATE_PLAYING");
    EXPECT_EQ(document["status"]["pipeline_pid"], 4242);
}

TEST_F(JobCommandsTest, ShowSaysThatAJobDoesNotAnswerAndShowsTheRest) {
    const auto job = test::runningJob(firstId, "cam1");
    service.runs(job);
    const CommandResult run = tarnctl({"jobs", "show", firstId, "--timeout", "0.5"});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_THAT(run.out, HasSubstr("Name      cam1\n"));
    EXPECT_THAT(run.out, HasSubstr("State     no answer from " + job.command_endpoint() +
                                   " within 0.5 s\n"));
    const CommandResult asJson = tarnctl({"jobs", "show", firstId, "--json", "--timeout", "0.5"});
    EXPECT_THAT(json::parse(asJson.out)["status_error"].get<std::string>(), HasSubstr("no answer"));
}

TEST_F(JobCommandsTest, ShowSaysThatAnEndpointMakesNoSense) {
    auto job = test::runningJob(firstId, "cam1");
    job.set_command_endpoint("nonsense\x1b");
    service.runs(job);
    const CommandResult run = tarnctl({"jobs", "show", firstId});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_THAT(run.out, HasSubstr("State     the job's endpoint: "));
    EXPECT_THAT(run.out, Not(HasSubstr("\x1b")));
}

TEST_F(JobCommandsTest, AnUnknownJobIsAFailure) {
    for (const std::string command : {"show", "watch", "stop"}) {
        const CommandResult run = tarnctl({"jobs", command, "3f2a"});
        EXPECT_EQ(run.status, ExitStatus::Failed);
        EXPECT_EQ(run.err, "tarnctl: no running job has the id \"3f2a\"\n");
    }
}

TEST_F(JobCommandsTest, StopDestroysTheJobAndWaitsUntilItIsGone) {
    FakeJob job(firstId, "cam1");
    job.whenDestroyed([this] { service.runsNoMore(firstId); });
    service.runs(job.entry());
    const CommandResult run = tarnctl({"jobs", "stop", "3f2a"});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_EQ(run.out, "job " + firstId + " stopped\n");
    ASSERT_EQ(job.requests().size(), 1U);
    const auto request = job.requests().front();
    EXPECT_EQ(request.type(), ApiToJobRequest::DESTROY);
    EXPECT_TRUE(request.GetExtension(ApiToJobRequestDestroy::base).has_destroy_option());
    EXPECT_FALSE(request.GetExtension(ApiToJobRequestDestroy::base).destroy_option());
}

TEST_F(JobCommandsTest, StopForGoodSetsTheOption) {
    FakeJob job(firstId, "cam1");
    service.runs(job.entry());
    const CommandResult run =
        tarnctl({"jobs", "stop", firstId, "--for-good", "--no-wait", "--json"});
    EXPECT_EQ(json::parse(run.out), json({{"job_id", firstId}, {"state", "stopping"}}));
    ASSERT_EQ(job.requests().size(), 1U);
    EXPECT_TRUE(job.requests().front().GetExtension(ApiToJobRequestDestroy::base).destroy_option());
}

TEST_F(JobCommandsTest, StopShowsTheJobsRefusal) {
    FakeJob job(firstId, "cam1");
    job.refuses("on air");
    service.runs(job.entry());
    const CommandResult run = tarnctl({"jobs", "stop", firstId});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_EQ(run.err, "tarnctl: on air\n");
}

TEST_F(JobCommandsTest, StopSaysWhenTheJobDoesNotAnswer) {
    FakeJob job(firstId, "cam1");
    job.staysSilent();
    service.runs(job.entry());
    const CommandResult run = tarnctl({"jobs", "stop", firstId, "--timeout", "0.5"});
    EXPECT_EQ(run.status, ExitStatus::NoAnswer);
    EXPECT_EQ(run.err,
              "tarnctl: no answer from " + job.entry().command_endpoint() + " within 0.5 s\n");
}

TEST_F(JobCommandsTest, StopSaysWhenTheJobAnswersGarbage) {
    FakeJob job(firstId, "cam1");
    job.answersGarbage();
    service.runs(job.entry());
    const CommandResult run = tarnctl({"jobs", "stop", firstId});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_THAT(run.err, HasSubstr("unreadable answer"));
}

}  // namespace tarn::cli
