#include <signal.h>

#include <filesystem>

#include "tests/peers/workflow_launcher/WorkflowFixture.h"
#include "tests/support/Eventually.h"
#include "tests/support/WatchedProcess.h"

namespace tarn::test {
namespace {

using namespace tarn::proto::job_monitoring;
using tarn::proto::service_job::ServiceToJobRequest;

struct PersistentJobTest : WorkflowFixture {
    const std::string file = pathOf("persistent");

    std::unique_ptr<TestJob> makePersistent(const std::string& pipeline) {
        auto job = makeJob(pipeline);
        job->setup().set_persistent_file_path(file);
        return job;
    }
    bool fileExists() const { return std::filesystem::exists(file); }
};

TEST_F(PersistentJobTest, TheFileHoldsTheSetupWhenTheJobIsAcknowledged) {
    const auto job = makePersistent(endless);
    job->play();
    ServiceToJobRequest kept;
    ASSERT_TRUE(kept.ParseFromString(readFile(file)));
    EXPECT_EQ(kept.SerializeAsString(), job->request.SerializeAsString());
    EXPECT_TRUE(job->client().status().persistent());
}

TEST_F(PersistentJobTest, DestroyKeepsTheFile) {
    const auto job = makePersistent(endless);
    job->play();
    job->client().destroy(JobClient::End::UntilNextStart);
    EXPECT_TRUE(job->events.waitForEnd());
    EXPECT_EQ(job->launcher->waitForEnd(), Ending::exited(0));
    EXPECT_TRUE(fileExists());
}

TEST_F(PersistentJobTest, DestroyForGoodRemovesTheFile) {
    const auto job = makePersistent(endless);
    job->play();
    job->client().destroy(JobClient::End::ForGood);
    EXPECT_TRUE(job->events.waitForEnd());
    EXPECT_FALSE(fileExists());
}

TEST_F(PersistentJobTest, DestroyForGoodCountsAlsoWhenItComesSecond) {
    const auto job = makePersistent(endless);
    job->play();
    ASSERT_TRUE(job->events.waitForState(JOB_STATE_PLAYING));
    WatchedProcess(job->client().status().pipeline_pid()).signal(SIGSTOP);
    job->client().destroy(JobClient::End::UntilNextStart);
    job->client().destroy(JobClient::End::ForGood);
    EXPECT_TRUE(job->events.waitForEnd());
    EXPECT_FALSE(fileExists());
}

TEST_F(PersistentJobTest, TheEndOfTheStreamRemovesTheFile) {
    const auto job = makePersistent(short_);
    job->play();
    EXPECT_TRUE(job->events.waitForEnd());
    EXPECT_FALSE(fileExists());
}

TEST_F(PersistentJobTest, ACrashedPipelineIsPlayedAgain) {
    const auto job = makePersistent(endless);
    job->play();
    ASSERT_TRUE(job->events.waitForState(JOB_STATE_PLAYING));
    const auto first = job->client().status().pipeline_pid();
    WatchedProcess(first).signal(SIGSEGV);
    EXPECT_TRUE(job->events.waitForState(JOB_STATE_WAITING_TO_RESTART));
    EXPECT_TRUE(service.lists(job->id()));
    EXPECT_TRUE(job->events.waitForState(JOB_STATE_PLAYING));
    EXPECT_TRUE(job->events.has(JobEvent::FAILURE));
    const auto status = job->client().status();
    EXPECT_EQ(status.restarts(), 1U);
    EXPECT_NE(status.last_failure().find("signal 11"), std::string::npos);
    EXPECT_NE(status.pipeline_pid(), first);
    EXPECT_TRUE(fileExists());
}

TEST_F(PersistentJobTest, AFailingPipelineIsPlayedAgainUntilItSucceeds) {
    const auto input = pathOf("input");
    const auto job = makePersistent("filesrc location=" + input + " ! fakesink");
    job->play();
    EXPECT_TRUE(job->events.waitForState(JOB_STATE_WAITING_TO_RESTART));
    service.folder().write("input", "now it is there");
    const auto end = job->events.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), JobEventEnd::END_OF_STREAM);
    EXPECT_FALSE(fileExists());
}

TEST_F(PersistentJobTest, AJobThatWaitsToBePlayedAgainEndsAtOnce) {
    const auto job = makePersistent("filesrc location=" + pathOf("none") + " ! fakesink");
    job->play();
    EXPECT_TRUE(job->events.waitForState(JOB_STATE_WAITING_TO_RESTART));
    // Seen late, it may be playing again just now.
    EXPECT_TRUE(eventually([&] { return !job->client().status().has_pipeline_pid(); }));
    job->client().destroy();
    const auto end = job->events.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), JobEventEnd::DESTROYED);
    EXPECT_TRUE(fileExists());
}

TEST_F(PersistentJobTest, WithoutAUsablePathTheJobRunsAsNotPersistent) {
    const auto job = makeJob(endless);
    job->setup().set_persistent_file_path(pathOf("none/file"));
    job->launch();
    const auto reply = job->setUp();
    EXPECT_TRUE(reply.success());
    const std::string lack = "not persistent: the folder of the persistent file does not exist";
    EXPECT_EQ(reply.warning(), lack);
    const auto failure = job->events.waitForFailure();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->message(), lack);
    EXPECT_EQ(job->client().status().last_failure(), lack);
    EXPECT_FALSE(job->client().status().persistent());
    EXPECT_NE(job->log().find("This job is not persistent"), std::string::npos);
    ASSERT_TRUE(job->events.waitForState(JOB_STATE_PLAYING));
    WatchedProcess(job->client().status().pipeline_pid()).signal(SIGSEGV);
    const auto end = job->events.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), JobEventEnd::CRASHED);
}

}  // namespace
}  // namespace tarn::test
