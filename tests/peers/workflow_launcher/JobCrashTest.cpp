#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/peers/workflow_launcher/WorkflowFixture.h"
#include "tests/support/Eventually.h"
#include "tests/support/WatchedProcess.h"

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
    EXPECT_EQ(job->launcher->waitForEnd(), Ending::exited(0));
}

TEST_F(JobCrashTest, ThePipelineDoesNotOutliveItsLauncher) {
    const WatchedProcess pipeline(job->client().status().pipeline_pid());
    job->launcher->signal(SIGKILL);
    EXPECT_TRUE(pipeline.waitForEnd());
}

TEST_F(JobCrashTest, AHungPipelineDoesNotOutliveItsLauncherEither) {
    const WatchedProcess pipeline(job->client().status().pipeline_pid());
    pipeline.signal(SIGSTOP);
    job->launcher->signal(SIGKILL);
    EXPECT_TRUE(pipeline.waitForEnd());
}

TEST_F(JobCrashTest, ThePipelineProcessLeadsAGroupOfItsOwn) {
    const auto id = job->client().status().pipeline_pid();
    EXPECT_EQ(::getpgid(id), id);
}

/// A job that writes to a pipe, opened for reading here.
struct JobIntoPipeTest : WorkflowFixture {
    int openForReading() const {
        const auto path = pathOf("pipe");
        EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
        const int reader = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        EXPECT_GE(reader, 0);
        return reader;
    }
};

TEST_F(JobIntoPipeTest, WhoseReaderGoesFailsWithTheReasonAndIsNotKilled) {
    const int reader = openForReading();
    const auto job = makeJob("videotestsrc is-live=true ! filesink location=" + pathOf("pipe"));
    job->play();
    ASSERT_TRUE(job->events.waitForState(JOB_STATE_PLAYING));
    ::close(reader);
    const auto end = job->events.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), JobEventEnd::FAILED) << job->log();
    EXPECT_FALSE(end->has_signal());
    EXPECT_THAT(job->log(), testing::HasSubstr("Broken pipe"));
}

}  // namespace
}  // namespace tarn::test
