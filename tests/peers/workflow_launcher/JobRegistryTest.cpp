#include "tests/peers/workflow_launcher/WorkflowFixture.h"
#include "tests/support/Eventually.h"

namespace tarn::test {
namespace {

using namespace tarn::proto::job_monitoring;

struct JobRegistryTest : WorkflowFixture {
    std::unique_ptr<TestJob> job = makeJob(endless);

    void SetUp() override {
        job->play();
        ASSERT_TRUE(job->events.waitForState(JOB_STATE_PLAYING));
    }
};

TEST_F(JobRegistryTest, AJobRegistersAgainWithAServiceThatDoesNotKnowIt) {
    service.stop();
    service.startWithEmptyRegistry();
    EXPECT_TRUE(eventually([&] { return service.lists(job->id()); }));
    EXPECT_EQ(service.job(job->id()).getResources().at("Endpoint").size(), 2U);
}

TEST_F(JobRegistryTest, AJobGoesOnAndEndsInGoodTimeWithoutAService) {
    service.stop();
    // Until it has noticed.
    ASSERT_TRUE(eventually(
        [&] { return job->log().find("resource manager is away") != std::string::npos; }));
    EXPECT_EQ(job->client().status().state(), JOB_STATE_PLAYING);
    EXPECT_TRUE(job->client().destroy().success());
    EXPECT_TRUE(job->events.waitForEnd());
    EXPECT_EQ(job->launcher->waitForEnd(std::chrono::seconds(10)), Ending::exited(0));
}

struct JobWithoutARegistryTest : WorkflowFixture {};

TEST_F(JobWithoutARegistryTest, PlaysAndWarnsAndRegistersWhenThereIsOne) {
    const auto job = makeJob(endless);
    service.stop();
    job->play();
    ASSERT_TRUE(job->events.waitForState(JOB_STATE_PLAYING));
    EXPECT_NE(job->log().find("this job is not registered yet"), std::string::npos) << job->log();
    service.startWithEmptyRegistry();
    EXPECT_TRUE(eventually([&] { return service.lists(job->id()); }));
    EXPECT_TRUE(job->client().destroy().success());
    EXPECT_TRUE(job->events.waitForEnd());
    EXPECT_FALSE(service.lists(job->id()));
    EXPECT_EQ(job->launcher->waitForEnd(), Ending::exited(0));
}

}  // namespace
}  // namespace tarn::test
