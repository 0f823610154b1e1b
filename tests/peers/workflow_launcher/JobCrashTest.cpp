#include <signal.h>

#include "tests/peers/workflow_launcher/WorkflowFixture.h"

namespace tarn::test {
namespace {

using namespace tarn::proto::job_monitoring;

struct JobCrashTest : WorkflowFixture {
    std::unique_ptr<TestJob> job = makeJob(endless);

    void SetUp() override {
        job->play();
        ASSERT_TRUE(job->events.waitForState(JOB_STATE_PLAYING));
    }
};

TEST_F(JobCrashTest, ACrashOfThePipelineIsToldWithItsSignalAndTheJobLeavesTheList) {
    const WatchedProcess pipeline(job->client().status().pipeline_pid());
    pipeline.signal(SIGSEGV);
    const auto end = job->events.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), JobEventEnd::CRASHED);
    EXPECT_EQ(end->signal(), SIGSEGV);
    EXPECT_EQ(end->message(), "killed by signal 11 (Segmentation fault)");
    EXPECT_TRUE(
        eventuallyWithin(std::chrono::seconds(2), [&] { return !service.lists(job->id()); }));
    EXPECT_EQ(job->launcher->exitStatus(), 0);
}

TEST_F(JobCrashTest, ThePipelineDoesNotOutliveItsLauncher) {
    const WatchedProcess pipeline(job->client().status().pipeline_pid());
    job->launcher->process().signal(SIGKILL);
    EXPECT_TRUE(pipeline.waitForEnd());
}

TEST_F(JobCrashTest, AHungPipelineDoesNotOutliveItsLauncherEither) {
    const WatchedProcess pipeline(job->client().status().pipeline_pid());
    pipeline.signal(SIGSTOP);
    job->launcher->process().signal(SIGKILL);
    EXPECT_TRUE(pipeline.waitForEnd());
}

TEST_F(JobCrashTest, ThePipelineProcessLeadsAGroupOfItsOwn) {
    const auto id = job->client().status().pipeline_pid();
    EXPECT_EQ(::getpgid(id), id);
}

}  // namespace
}  // namespace tarn::test
