#include <signal.h>

#include <filesystem>

#include "tests/peers/workflow_launcher/WorkflowFixture.h"
#include "tests/support/Eventually.h"
#include "tests/support/MachineTime.h"
#include "tests/support/WatchedProcess.h"

namespace tarn::test {
namespace {

using namespace tarn::proto::api_job;
using namespace tarn::proto::job_monitoring;

struct JobCommandsTest : WorkflowFixture {
    std::unique_ptr<TestJob> playing(const std::string& pipeline) {
        auto job = makeJob(pipeline);
        job->play();
        EXPECT_TRUE(job->events.waitForState(JOB_STATE_PLAYING));
        return job;
    }

    static void endsDestroyed(TestJob& job) {
        const auto end = job.events.waitForEnd();
        ASSERT_TRUE(end);
        EXPECT_EQ(end->reason(), JobEventEnd::DESTROYED);
        EXPECT_EQ(job.launcher->waitForEnd(), Ending::exited(0));
    }

    // A file without its index cannot be read: it was not written to the end then.
    bool isWhole(const std::string& file) {
        const auto check =
            makeJob("filesrc location=" + file + " ! qtdemux ! jpegdec ! fakesink", "check");
        check->play();
        const auto end = check->events.waitForEnd();
        return end && end->reason() == JobEventEnd::END_OF_STREAM;
    }
};

TEST_F(JobCommandsTest, StatusTellsTheWholeJob) {
    const auto job = playing(endless);
    ASSERT_TRUE(job->events.waitFor([](const auto& e) { return e.type() == JobEvent::PROGRESS; }));
    const auto status = job->client().status();
    EXPECT_EQ(status.job_description().name(), "job");
    EXPECT_EQ(status.state(), JOB_STATE_PLAYING);
    EXPECT_EQ(status.job_configuration(), endless);
    EXPECT_EQ(status.log_file(), pathOf("log/job.log"));
    EXPECT_TRUE(status.has_position_ns());
    EXPECT_FALSE(status.has_duration_ns());
    EXPECT_FALSE(status.persistent());
    EXPECT_EQ(status.restarts(), 0U);
    EXPECT_FALSE(status.has_last_failure());
    EXPECT_GT(status.uptime_ns(), 0);
    EXPECT_TRUE(WatchedProcess(status.pipeline_pid()).isRunning());
}

TEST_F(JobCommandsTest, AnUnknownCommandIsAnErrorAndTheNextIsServed) {
    const auto job = playing(endless);
    const auto reply = job->client().command(ApiToJobRequest::UNKNOWN);
    EXPECT_EQ(reply.type(), JobToApiReply::ERROR);
    EXPECT_FALSE(reply.success());
    EXPECT_FALSE(reply.error_message().empty());
    EXPECT_EQ(job->client().status().state(), JOB_STATE_PLAYING);
}

TEST_F(JobCommandsTest, DestroyCompletesARecording) {
    const auto file = pathOf("recording.mov");
    const auto job =
        playing("videotestsrc is-live=true ! jpegenc ! qtmux ! filesink location=" + file);
    const WatchedProcess pipeline(job->client().status().pipeline_pid());
    const auto reply = job->client().destroy();
    EXPECT_EQ(reply.type(), JobToApiReply::DESTROY);
    EXPECT_TRUE(reply.success());
    endsDestroyed(*job);
    EXPECT_FALSE(pipeline.isRunning());
    EXPECT_FALSE(service.lists(job->id()));
    EXPECT_TRUE(isWhole(file));
}

TEST_F(JobCommandsTest, DestroyStraightAfterTheSetupEndsTheJob) {
    const auto job = makeJob(endless);
    job->play();
    EXPECT_TRUE(job->client().destroy().success());
    endsDestroyed(*job);
}

TEST_F(JobCommandsTest, SignalsEndTheJobAsDestroyDoes) {
    for (const int signal : {SIGTERM, SIGINT}) {
        const auto file = pathOf("recording" + std::to_string(signal));
        const auto job =
            playing("videotestsrc is-live=true ! jpegenc ! qtmux ! filesink location=" + file);
        job->launcher->signal(signal);
        endsDestroyed(*job);
        EXPECT_TRUE(isWhole(file));
    }
}

TEST_F(JobCommandsTest, AHungPipelineIsKilledAndASecondDestroyIsAnswered) {
    const auto job = playing(endless);
    const WatchedProcess pipeline(job->client().status().pipeline_pid());
    pipeline.signal(SIGSTOP);
    const MachineTime time;
    EXPECT_TRUE(job->client().destroy().success());
    EXPECT_TRUE(job->client().destroy().success());
    EXPECT_TRUE(eventually([&] { return job->client().status().state() == JOB_STATE_STOPPING; }));
    const auto end = job->events.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), JobEventEnd::DESTROYED);
    EXPECT_EQ(end->signal(), SIGKILL);
    EXPECT_LT(time.elapsed(), std::chrono::seconds(9));
    EXPECT_FALSE(pipeline.isRunning());
    EXPECT_EQ(job->launcher->waitForEnd(), Ending::exited(0));
}

}  // namespace
}  // namespace tarn::test
