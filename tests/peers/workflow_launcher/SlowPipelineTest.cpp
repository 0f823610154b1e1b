#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/peers/workflow_launcher/WorkflowFixture.h"
#include "tests/support/Eventually.h"
#include "tests/support/MachineTime.h"
#include "tests/support/WatchedProcess.h"

namespace tarn::test {
namespace {

using namespace std::chrono_literals;
using namespace tarn::proto::job_monitoring;

/// Pipelines that take their time before they can play.
struct SlowPipelineTest : WorkflowFixture {
    SlowPipelineTest() { EXPECT_EQ(::mkfifo(pathOf("fifo").c_str(), 0600), 0); }

    /// Opening it for writing takes until somebody opens it for reading.
    std::unique_ptr<TestJob> makeSlow() {
        return makeJob(
            "videotestsrc num-buffers=1 ! video/x-raw,width=16,height=16 ! filesink location=" +
            pathOf("fifo"));
    }

    /// A job whose pipeline process stands still from the beginning.
    std::unique_ptr<TestJob> makeHung() {
        auto job = makeJob(endless);
        job->launch();
        EXPECT_TRUE(eventually([&] { return childOf(job->launcher->id()) > 0; }));
        WatchedProcess(childOf(job->launcher->id())).signal(SIGSTOP);
        return job;
    }

    /// The pipeline process of a launcher; 0 while there is none. Halted before it runs its own
    /// program, it would halt the launcher too, which waits for that.
    static pid_t childOf(pid_t launcher) {
        const auto id = std::to_string(launcher);
        std::ifstream children("/proc/" + id + "/task/" + id + "/children");
        pid_t child = 0;
        children >> child;
        std::ifstream name("/proc/" + std::to_string(child) + "/comm");
        std::string program;
        name >> program;
        return program.starts_with("tarnPipeline") ? child : 0;
    }

    void isAcceptedSoon(TestJob& job) {
        const MachineTime time;
        const auto reply = job.setUp();
        EXPECT_TRUE(reply.success()) << reply.error_message();
        EXPECT_LT(time.elapsed(), 1s);
        EXPECT_TRUE(service.lists(job.id()));
        EXPECT_EQ(job.client().status().state(), JOB_STATE_STARTING);
    }

    void endsNotReadyInTime(TestJob& job) {
        const MachineTime time;
        const auto end = job.events.waitForEnd();
        ASSERT_TRUE(end);
        EXPECT_LT(time.elapsed(), 5s);
        EXPECT_EQ(end->reason(), JobEventEnd::FAILED);
        EXPECT_EQ(end->message(), "the pipeline was not ready in time");
        EXPECT_FALSE(service.lists(job.id()));
        EXPECT_EQ(job.launcher->waitForEnd(), Ending::exited(1));
        EXPECT_NE(job.log().find("Job setup failed: the pipeline was not ready in time"),
                  std::string::npos);
    }
};

TEST_F(SlowPipelineTest, IsAcceptedSoonAndPlaysWhenItIsReady) {
    const auto job = makeSlow();
    job->launch();
    isAcceptedSoon(*job);
    std::ifstream reader(pathOf("fifo"));
    const auto end = job->events.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), JobEventEnd::END_OF_STREAM) << job->log();
}

TEST_F(SlowPipelineTest, FailsWhenItIsNotReadyInTime) {
    const auto job = makeSlow();
    job->launch();
    isAcceptedSoon(*job);
    endsNotReadyInTime(*job);
}

TEST_F(SlowPipelineTest, IsListedAlsoWhileItIsNotEvenChecked) {
    const auto job = makeHung();
    isAcceptedSoon(*job);
    endsNotReadyInTime(*job);
}

TEST_F(SlowPipelineTest, IsStoppedAtOnceWhileItGetsReady) {
    for (const bool hung : {false, true}) {
        const auto job = hung ? makeHung() : makeSlow();
        if (!hung) {
            job->launch();
        }
        isAcceptedSoon(*job);
        const WatchedProcess pipeline(job->client().status().pipeline_pid());
        const MachineTime time;
        EXPECT_TRUE(job->client().destroy().success());
        const auto end = job->events.waitForEnd();
        ASSERT_TRUE(end);
        EXPECT_LT(time.elapsed(), 2s);
        EXPECT_EQ(end->reason(), JobEventEnd::DESTROYED);
        EXPECT_FALSE(pipeline.isRunning());
        EXPECT_NE(job->launcher->waitForEnd(), Ending{});
    }
}

TEST_F(SlowPipelineTest, IsNotKeptBeforeItIsReady) {
    const auto job = makeSlow();
    const auto file = pathOf("persistent");
    job->setup().set_persistent_file_path(file);
    job->launch();
    isAcceptedSoon(*job);
    EXPECT_FALSE(job->client().status().persistent());
    endsNotReadyInTime(*job);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(SlowPipelineTest, OfAPersistentJobThatComesBackIsTriedAgain) {
    const auto job = makeSlow();
    const auto file = service.folder().write("persistent", job->request.SerializeAsString());
    job->setup().set_persistent_file_path(file);
    job->launch();
    isAcceptedSoon(*job);
    EXPECT_TRUE(job->events.waitForState(JOB_STATE_WAITING_TO_RESTART));
    EXPECT_EQ(job->client().status().last_failure(), "the pipeline was not ready in time");
    EXPECT_TRUE(job->client().status().persistent());
    EXPECT_TRUE(service.lists(job->id()));
    std::ifstream reader(pathOf("fifo"));
    EXPECT_TRUE(job->events.waitForEnd());
    EXPECT_EQ(job->launcher->waitForEnd(), Ending::exited(0));
}

TEST_F(SlowPipelineTest, HasNoMoreTimeInALaterRun) {
    const auto job = makeJob(endless);
    job->setup().set_persistent_file_path(pathOf("persistent"));
    job->play();
    ASSERT_TRUE(job->events.waitForState(JOB_STATE_PLAYING));
    const auto first = job->client().status().pipeline_pid();
    WatchedProcess(first).signal(SIGSEGV);
    const auto second = [&] { return childOf(job->launcher->id()); };
    ASSERT_TRUE(eventually([&] { return second() > 0 && second() != first; }));
    const WatchedProcess hung(second());
    hung.signal(SIGSTOP);
    ASSERT_NE(job->client().status().state(), JOB_STATE_PLAYING);
    const MachineTime time;
    EXPECT_TRUE(hung.waitForEnd());
    EXPECT_LT(time.elapsed(), 6s);
    EXPECT_TRUE(eventually([&] { return job->client().status().state() == JOB_STATE_PLAYING; }));
    EXPECT_EQ(job->client().status().restarts(), 2U);
    EXPECT_EQ(job->client().status().last_failure(), "the pipeline was not ready in time");
}

}  // namespace
}  // namespace tarn::test
