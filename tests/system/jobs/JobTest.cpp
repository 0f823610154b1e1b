#include <signal.h>

#include <filesystem>

#include "tests/support/Eventually.h"
#include "tests/system/harness/Processes.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

using namespace std::chrono_literals;
using End = Job::End;

class JobsTest : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        startService();
    }
};

TEST_F(JobsTest, AJobRunsToTheEndOfItsStream) {
    // Live for three seconds, so that it is seen to run and the subscription is there before the
    // end.
    const auto job = startJob(
        {.pipeline = "videotestsrc is-live=true num-buffers=90 ! video/x-raw,framerate=30/1 "
                     "! filesink location=/tmp/result"});
    EXPECT_TRUE(isListed(job->id()));
    const auto end = job->waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), End::END_OF_STREAM);
    EXPECT_TRUE(eventuallyWithin(3s, [&] { return !isListed(job->id()); }));
    EXPECT_GT(std::filesystem::file_size("/tmp/result"), 0u);
    EXPECT_TRUE(service().waitForLog("Job setup properly sent"));
}

TEST_F(JobsTest, ARunningJobIsFoundByItsIdAndItsProperties) {
    const auto job = startJob({.pipeline = endless,
                               .name = "camera one",
                               .properties = {{"studio", {"2", "3"}}, {"Endpoint", {"mine"}}}});
    const auto found = api().job(job->id());
    ASSERT_TRUE(found && found->has_running_job());
    EXPECT_EQ(found->running_job().job_description().name(), "camera one");
    EXPECT_EQ(found->running_job().command_endpoint(), job->where().commandEndpoint);
    EXPECT_EQ(found->running_job().event_endpoint(), job->where().eventEndpoint);

    EXPECT_EQ(api().jobs("studio", "3")->size(), 1u);
    EXPECT_EQ(api().jobs("studio", "4")->size(), 0u);
    EXPECT_EQ(api().jobs("Endpoint", "mine")->size(), 0u);
    EXPECT_EQ(api().jobs("Endpoint", job->where().commandEndpoint)->size(), 1u);
    EXPECT_TRUE(job->destroy());
}

TEST_F(JobsTest, AJobReportsItsProgressAndEndsWhenItIsAskedTo) {
    const auto job = startJob({.pipeline = endless});
    EXPECT_TRUE(job->waitForEvent(
        [](const Job::Event& event) { return event.type() == Job::Event::PROGRESS; }));
    EXPECT_TRUE(job->destroy());
    const auto end = job->waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), End::DESTROYED);
    EXPECT_TRUE(eventuallyWithin(3s, [&] { return !isListed(job->id()); }));
}

TEST_F(JobsTest, APipelineThatDoesNotParseIsRefusedWithItsMessageAndTheNextJobRuns) {
    ASSERT_TRUE(api().submit({.pipeline = "videotestsrc ! nosuchelement ! fakesink"}));
    EXPECT_TRUE(waitForRefusal("no element \"nosuchelement\""));
    const auto job = startJob({.pipeline = endless});
    EXPECT_TRUE(eventually([this] { return api().jobs()->size() == 1; }));
    EXPECT_TRUE(job->destroy());
}

TEST_F(JobsTest, AJobWithTheIdOfARunningOneIsNotLaunched) {
    const auto job = startJob({.pipeline = endless});
    const auto oneLauncher = [] { return processesRunning("tarnWorkflowLauncher").size() == 1; };
    ASSERT_TRUE(eventually(oneLauncher));  // the one that detached from it may still be ending
    ASSERT_TRUE(api().submit({.pipeline = endless, .id = job->id()}));
    EXPECT_TRUE(service().waitForLog("WARN  Workflow creator > Will not (re)create job with UUID " +
                                     job->id() + ": already running"));
    EXPECT_TRUE(api().info());
    EXPECT_EQ(service().log().count("Creating workflow: "), 1u);
    EXPECT_TRUE(oneLauncher());
    EXPECT_TRUE(job->destroy());
}

class CrashingJobTest : public JobsTest, public ::testing::WithParamInterface<int> {};

TEST_P(CrashingJobTest, NamesTheSignalInItsLastEventAndLeavesTheListWithinTwoSeconds) {
    const auto other = startJob({.pipeline = endless});
    const auto job = startJob({.pipeline = endless});
    const auto status = job->status();
    ASSERT_TRUE(status);
    ASSERT_EQ(::kill(status->pipeline_pid(), GetParam()), 0);
    EXPECT_TRUE(eventuallyWithin(2s, [&] { return !isListed(job->id()); }));
    const auto end = job->waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), End::CRASHED);
    EXPECT_EQ(end->signal(), GetParam());
    EXPECT_TRUE(isListed(other->id()));
    EXPECT_TRUE(other->destroy());
}

INSTANTIATE_TEST_SUITE_P(Signals, CrashingJobTest, ::testing::Values(SIGSEGV, SIGKILL, SIGABRT),
                         [](const auto& test) {
                             return std::string("sig") + ::sigabbrev_np(test.param);
                         });

TEST_F(JobsTest, AJobWhoseLauncherIsKilledLeavesTheListAndNothingRunning) {
    const auto job = startJob({.pipeline = endless});
    const auto launchers = processesRunning("tarnWorkflowLauncher");
    ASSERT_FALSE(launchers.empty());
    for (const auto& launcher : launchers) {
        ::kill(launcher.id, SIGKILL);
    }
    EXPECT_TRUE(eventuallyWithin(5s, [&] { return !isListed(job->id()); }));
    EXPECT_TRUE(eventually([] { return processesRunning("tarnPipelineProcess").empty(); }, 10s))
        << describe(otherProcesses());
    // Nobody is left who could remove these two.
    for (const auto& endpoint : {job->where().commandEndpoint, job->where().eventEndpoint}) {
        std::filesystem::remove(endpoint.substr(std::string("ipc://").size()));
    }
}

TEST_F(JobsTest, ManyJobsRunAtOnceAndAllEndWithTheService) {
    constexpr std::size_t many = 8;
    for (std::size_t i = 0; i < many; ++i) {
        ASSERT_TRUE(api().submit({.pipeline = endless}));
    }
    EXPECT_TRUE(eventually([this] { return api().jobs()->size() == many; }));
    EXPECT_EQ(service().stop(), Ending::exited(0));
}

}  // namespace

}  // namespace tarn::test
