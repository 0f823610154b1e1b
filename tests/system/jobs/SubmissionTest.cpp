#include <gmock/gmock.h>
#include <sys/stat.h>

#include <iostream>

#include "platform/utils/UuidGenerator.h"
#include "tests/support/Eventually.h"
#include "tests/support/MachineTime.h"
#include "tests/support/Process.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

class SubmissionsTest : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        startService();
    }

    // Opening it for writing takes until somebody opens it for reading.
    static JobOrder slowOrder() {
        static constexpr auto fifo = "/tmp/fifo";
        ::mkfifo(fifo, 0600);
        return {.pipeline = std::string("videotestsrc ! filesink location=") + fifo};
    }

    static ProcessResult submitAndWait(const std::string& pipeline) {
        return tarnctl({"jobs", "submit", "--wait", "--pipeline", pipeline});
    }
};

TEST_F(SubmissionsTest, OfPipelinesThatOpenSlowlyHoldTheNextRequestUpForAMomentEach) {
    constexpr int many = 20;
    const auto began = std::chrono::steady_clock::now();
    const MachineTime time;
    for (int i = 0; i < many; ++i) {
        ASSERT_TRUE(api().submit(slowOrder()));
    }
    ASSERT_TRUE(api().info());
    EXPECT_LT(time.elapsed(), many * 400ms);
    std::cout << "each held up the next request for "
              << std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - began)
                         .count() /
                     many
              << " ms\n";
    EXPECT_TRUE(eventually([this] { return api().jobs()->empty(); }));  // none was ready in time
}

TEST_F(SubmissionsTest, OfAnIdCountAgainAsSoonAsItsJobIsNotListed) {
    const auto id = utils::UuidGenerator::Generate();
    for (int round = 0; round < 15; ++round) {
        const auto job = startJob({.pipeline = endless, .id = id});
        // Old enough not to wait for subscribers when it ends.
        ASSERT_TRUE(eventually([&] { return job->status()->uptime_ns() > 400'000'000; }));
        ASSERT_TRUE(job->stop()) << "round " << round;
        const MachineTime time;
        while (api().job(id)->has_running_job()) {  // without a pause: the next one comes at once
            ASSERT_LT(time.elapsed(), 10s);
        }
    }
}

TEST_F(SubmissionsTest, OfAnIdCountAgainAsSoonAsItsJobHasSaidThatItEnded) {
    const auto id = utils::UuidGenerator::Generate();
    for (int round = 0; round < 15; ++round) {
        const auto job = startJob({.pipeline = endless, .id = id});
        ASSERT_TRUE(job->stop());
        ASSERT_TRUE(job->waitForEnd()) << "round " << round;
    }
}

TEST_F(SubmissionsTest, ThatAreRefusedTellTheClientWhyAtOnce) {
    const MachineTime time;
    const auto result = submitAndWait("videotestsrc ! nosuchelement ! fakesink");
    EXPECT_LT(time.elapsed(), 2s);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.err, HasSubstr("no element \"nosuchelement\""));
    EXPECT_TRUE(waitForRefusal("no element \"nosuchelement\""));
}

TEST_F(SubmissionsTest, ThatFailAfterTheirAnswerTellTheClientWhyTooWithTheJobListedUntilThen) {
    const auto result = submitAndWait(slowOrder().pipeline);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.err, HasSubstr("the pipeline was not ready in time"));
    EXPECT_TRUE(service().log().contains("Job setup properly sent"));
    EXPECT_FALSE(service().log().contains("Failed starting external job"));
}

TEST_F(SubmissionsTest, WhoseFolderIsGoneSayThatTheyAreNotPersistent) {
    const auto id = utils::UuidGenerator::Generate();
    ASSERT_EQ(runProcess({"rm", "-rf", "/usr/share/TarnJobs"}).exitStatus, 0);
    const auto job =
        startJob({.pipeline = endless, .id = id, .persistent = true, .persistentName = "keep.job"});
    EXPECT_TRUE(service().waitForLog("WARN  Workflow creator > Job " + id +
                                     ": not persistent: the folder of the persistent file"));
    EXPECT_THAT(job->status()->last_failure(), HasSubstr("not persistent: the folder"));
    EXPECT_TRUE(job->destroy());
}

}  // namespace

}  // namespace tarn::test
