#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/cli/TarnctlFixture.h"
#include "tests/support/peers/FakeJob.h"

namespace tarn::cli {

using nlohmann::json;
using proto::api_job::ApiToJobRequestDestroy;
using test::FakeJob;

namespace {

struct JobStopAllTest : TarnctlFixture {
    FakeJob first{firstId, "cam1"};
    FakeJob second{secondId, "cam2"};

    JobStopAllTest() {
        for (auto* job : {&first, &second}) {
            const auto id = job->entry().job_description().job_id();
            job->whenDestroyed([this, id] { service.runsNoMore(id); });
            service.runs(job->entry());
        }
    }
};

}  // namespace

TEST_F(JobStopAllTest, StopsEveryJobAndWaitsUntilTheyAreGone) {
    const CommandResult run = tarnctl({"jobs", "stop", "--all"});
    EXPECT_EQ(run.status, ExitStatus::Done) << run.err;
    EXPECT_EQ(run.out, "job " + firstId + " stopped\njob " + secondId + " stopped\n");
    for (const auto* job : {&first, &second}) {
        ASSERT_EQ(job->requests().size(), 1U);
        EXPECT_FALSE(
            job->requests()[0].GetExtension(ApiToJobRequestDestroy::base).destroy_option());
    }
}

TEST_F(JobStopAllTest, ForGoodIsForAllOfThem) {
    tarnctl({"jobs", "stop", "--all", "--for-good", "--no-wait"});
    for (const auto* job : {&first, &second}) {
        ASSERT_EQ(job->requests().size(), 1U);
        EXPECT_TRUE(job->requests()[0].GetExtension(ApiToJobRequestDestroy::base).destroy_option());
    }
}

TEST_F(JobStopAllTest, OneThatRefusesDoesNotHoldUpTheOthers) {
    first.refuses("on air");
    const CommandResult run = tarnctl({"jobs", "stop", "--all"});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_EQ(run.out, "job " + secondId + " stopped\n");
    EXPECT_EQ(run.err, "tarnctl: " + firstId + ": on air\n");
}

TEST_F(JobStopAllTest, OneThatStaysSilentDoesNotHoldUpTheOthers) {
    first.staysSilent();
    const CommandResult run = tarnctl({"jobs", "stop", "--all", "--timeout", "0.5"});
    EXPECT_EQ(run.status, ExitStatus::NoAnswer);
    EXPECT_EQ(run.out, "job " + secondId + " stopped\n");
}

TEST_F(JobStopAllTest, IsOneJsonDocument) {
    first.refuses("on air");
    const CommandResult run = tarnctl({"jobs", "stop", "--all", "--json"});
    EXPECT_EQ(json::parse(run.out),
              json({{"jobs",
                     {{{"job_id", firstId}, {"state", "failed"}, {"error", "on air"}},
                      {{"job_id", secondId}, {"state", "stopped"}}}}}));
}

TEST_F(JobStopAllTest, WithoutJobsThereIsNothingToDo) {
    service.runsNoMore(firstId);
    service.runsNoMore(secondId);
    const CommandResult run = tarnctl({"jobs", "stop", "--all"});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_EQ(run.out, "no running jobs\n");
}

TEST_F(JobStopAllTest, OneOrAllMustBeMeant) {
    EXPECT_EQ(tarnctl({"jobs", "stop"}).status, ExitStatus::Usage);
    EXPECT_EQ(tarnctl({"jobs", "stop", firstId, "--all"}).status, ExitStatus::Usage);
    EXPECT_TRUE(first.requests().empty());
}

}  // namespace tarn::cli
