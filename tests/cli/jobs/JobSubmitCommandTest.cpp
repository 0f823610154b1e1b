#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/cli/TarnctlFixture.h"
#include "tests/support/peers/FakeJob.h"

namespace tarn::cli {

using namespace proto::job_monitoring;
using nlohmann::json;
using proto::api_service::ApiToServiceRequestJobSubmission;
using test::FakeJob;
using test::FakeService;
using testing::HasSubstr;

namespace {

class JobSubmitCommandTest : public TarnctlFixture {
  protected:
    /// What the service received of the first request.
    ApiToServiceRequestJobSubmission submitted() {
        const auto request = service.requests().front();
        EXPECT_EQ(request.type(), FakeService::Request::JOB_SUBMISSION);
        return request.GetExtension(ApiToServiceRequestJobSubmission::base);
    }

    /// Submits the job with --wait.
    CommandResult submitAndWait(const std::vector<std::string>& more = {}) {
        std::vector<std::string> line = {"jobs", "submit", "--pipeline", "p",
                                         "--id", firstId,  "--wait"};
        line.insert(line.end(), more.begin(), more.end());
        return tarnctl(line);
    }

    CommandResult submitAndWaitFor(FakeJob& job, const JobEvent& lastEvent) {
        service.launches(job.entry());
        job.publishes(lastEvent);
        return submitAndWait();
    }
};

}  // namespace

TEST_F(JobSubmitCommandTest, CarriesEveryOption) {
    const CommandResult run =
        tarnctl({"jobs", "submit", "--pipeline", "videotestsrc ! fakesink", "--name", "cam1",
                 "--id", firstId, "--property", "studio=2", "--property", "tags=[a,b]=c",
                 "--property", "studio=", "--persistent", "--persistent-name", "keep.job"});
    EXPECT_EQ(run.status, ExitStatus::Done) << run.err;
    const auto job = submitted();
    EXPECT_EQ(job.job_description().name(), "cam1");
    EXPECT_EQ(job.job_description().job_id(), firstId);
    EXPECT_EQ(job.job_description().creator(), "tarnctl");
    EXPECT_EQ(job.job_configuration(), "videotestsrc ! fakesink");
    ASSERT_EQ(job.properties_size(), 3);
    EXPECT_EQ(job.properties(0).name(), "studio");
    EXPECT_THAT(job.properties(0).values(), testing::ElementsAre("2"));
    EXPECT_EQ(job.properties(1).name(), "tags");
    EXPECT_THAT(job.properties(1).values(), testing::ElementsAre("[a,b]=c"));
    EXPECT_THAT(job.properties(2).values(), testing::ElementsAre(""));
    EXPECT_TRUE(job.persistent());
    EXPECT_EQ(job.persistent_job_name(), "keep.job");
}

TEST_F(JobSubmitCommandTest, LeavesOutWhatIsNotGiven) {
    tarnctl({"jobs", "submit", "--pipeline", "p"});
    const auto job = submitted();
    EXPECT_FALSE(job.job_description().has_name());
    EXPECT_FALSE(job.persistent());
    EXPECT_FALSE(job.has_persistent_job_name());
    EXPECT_EQ(job.properties_size(), 0);
}

TEST_F(JobSubmitCommandTest, MakesANewIdForEachJob) {
    tarnctl({"jobs", "submit", "--pipeline", "p"});
    const std::string first = submitted().job_description().job_id();
    EXPECT_EQ(first.size(), 36U);
    tarnctl({"jobs", "submit", "--pipeline", "p"});
    const auto second = service.lastRequest();
    EXPECT_NE(
        second.GetExtension(ApiToServiceRequestJobSubmission::base).job_description().job_id(),
        first);
}

TEST_F(JobSubmitCommandTest, PrintsTheIdAndBothEndpoints) {
    const auto job = test::runningJob(firstId, "");
    service.launchesNothing(job);
    const std::vector<std::string> line = {"jobs", "submit", "--pipeline", "p", "--id", firstId};
    EXPECT_EQ(tarnctl(line).out, "Job       " + firstId + "\nCommands  " + job.command_endpoint() +
                                     "\nEvents    " + job.event_endpoint() + "\n");
    auto asJson = line;
    asJson.emplace_back("--json");
    EXPECT_EQ(json::parse(tarnctl(asJson).out), json({{"job_id", firstId},
                                                      {"command_endpoint", job.command_endpoint()},
                                                      {"event_endpoint", job.event_endpoint()}}));
}

TEST_F(JobSubmitCommandTest, WaitsForTheEndOfTheStream) {
    FakeJob job(firstId, "cam1");
    const CommandResult run = submitAndWaitFor(job, test::endEvent(JobEventEnd::END_OF_STREAM));
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_THAT(run.out, HasSubstr("job " + firstId + " ended: end of stream\n"));
    EXPECT_EQ(run.err, "");
}

TEST_F(JobSubmitCommandTest, FailsWithAJobThatFails) {
    FakeJob job(firstId, "cam1");
    const CommandResult run = submitAndWaitFor(job, test::endBySignal(11));
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_EQ(run.err, "tarnctl: job " + firstId + " crashed, signal 11 (SIGSEGV)\n");
}

TEST_F(JobSubmitCommandTest, FailsWithAJobThatIsDestroyed) {
    FakeJob job(firstId, "cam1");
    const CommandResult run = submitAndWaitFor(job, test::endEvent(JobEventEnd::DESTROYED));
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_EQ(run.err, "tarnctl: job " + firstId + " was destroyed\n");
}

TEST_F(JobSubmitCommandTest, FailsWhenTheJobDoesNotAppear) {
    service.launchesNothing(test::runningJob(firstId, ""));
    const CommandResult run = submitAndWait({"--timeout", "0.5"});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_EQ(run.err, "tarnctl: job " + firstId + " did not start; see the service's log\n");
}

TEST_F(JobSubmitCommandTest, IgnoresWhatAnotherJobPublishesOnTheSameEndpoint) {
    FakeJob other(secondId, "cam2");
    other.publishes(test::endEvent(JobEventEnd::END_OF_STREAM));
    service.launchesNothing(other.entry());
    const CommandResult run = submitAndWait({"--timeout", "0.5"});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_THAT(run.err, HasSubstr("did not start"));
}

TEST_F(JobSubmitCommandTest, FailsWhenTheJobVanishesWithoutAWord) {
    const FakeJob job(firstId, "cam1");
    service.launchesNothing(job.entry());
    int questions = 0;  // only on the service's thread
    service.answers(FakeService::Request::GET_JOB_BY_UUID, [&](const auto&) {
        auto reply = std::make_unique<FakeService::Reply>();
        reply->set_type(FakeService::Reply::GET_JOB_BY_UUID);
        reply->set_success(true);
        if (questions++ == 0) {
            *reply->MutableExtension(proto::api_service::ServiceToApiReplyGetJobByUuid::base)
                 ->mutable_running_job() = job.entry();
        }
        return reply;
    });
    const CommandResult run = submitAndWait();
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_EQ(run.err,
              "tarnctl: job " + firstId + " is gone and did not say why; see the service's log\n");
}

TEST_F(JobSubmitCommandTest, GoesOnWithAJobThatAnswersWhenTheServiceDoesNot) {
    FakeJob job(firstId, "cam1");
    service.launchesNothing(job.entry());
    service.answers(FakeService::Request::GET_JOB_BY_UUID, [&](const auto&) {
        if (!job.requests().empty()) {  // it was asked itself, and thereby has not ended
            job.publishes(test::endEvent(JobEventEnd::END_OF_STREAM));
        }
        return nullptr;
    });
    const CommandResult run = submitAndWait({"--timeout", "0.5"});
    EXPECT_EQ(run.status, ExitStatus::Done) << run.err;
}

TEST_F(JobSubmitCommandTest, GivesUpWhenNeitherServiceNorJobAnswers) {
    service.launchesNothing(test::runningJob(firstId, ""));
    service.answers(FakeService::Request::GET_JOB_BY_UUID, [](const auto&) { return nullptr; });
    const CommandResult run = submitAndWait({"--timeout", "0.5"});
    EXPECT_EQ(run.status, ExitStatus::NoAnswer);
    EXPECT_EQ(run.err, "tarnctl: neither the service nor job " + firstId + " answers any more\n");
}

TEST_F(JobSubmitCommandTest, WaitingIsOneJsonDocumentWithTheOutcome) {
    FakeJob job(firstId, "cam1");
    service.launches(job.entry());
    job.publishes(test::endBySignal(6));
    const CommandResult run = submitAndWait({"--json"});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    json document = json::parse(run.out);
    EXPECT_EQ(document["job_id"], firstId);
    EXPECT_EQ(document["outcome"], "crashed");
    EXPECT_EQ(document["outcome_text"], "job " + firstId + " crashed, signal 6 (SIGABRT)");
}

TEST_F(JobSubmitCommandTest, FailsWhenTheServiceGivesOutAnEndpointThatMakesNoSense) {
    service.launchesNothing({});
    const CommandResult run = submitAndWait();
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_THAT(run.err, HasSubstr("the job's endpoint"));
}

}  // namespace tarn::cli
