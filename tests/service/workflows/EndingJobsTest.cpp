#include "service/workflows/EndingJobs.h"

#include <gmock/gmock.h>
#include <signal.h>

#include "platform/socket/Socket.h"
#include "proto/api_job.pb.h"
#include "tests/service/support/ServiceBed.h"
#include "tests/support/Process.h"
#include "tests/support/peers/FakeSetupPeer.h"

namespace tarn::service {

using namespace std::chrono_literals;
using tarn::proto::api_job::ApiToJobRequest;
using tarn::proto::api_job::JobToApiReply;
using tarn::proto::api_job::JobToApiReplyStatus;
using tarn::proto::job_monitoring::JobState;

class EndingJobsTest : public testing::Test {
  protected:
    EndingJobsTest() { reply.set_type(JobToApiReply::STATUS); }

    /// A job "a" that says that it is in this state.
    void runJob(JobState state) {
        reply.MutableExtension(JobToApiReplyStatus::base)->set_state(state);
        const auto endpoint = test::uniqueEndpoint();
        peer = std::make_unique<test::FakeSetupPeer>(endpoint, request, &reply);
        bed.registerJob("a", endpoint);
    }

    /// Counts the pauses; the job leaves in the third.
    bool pause(std::chrono::milliseconds length) {
        EXPECT_EQ(length, 50ms);
        std::string error;
        if (++pauses == 3) {
            EXPECT_TRUE(bed.proxy.unregisterJob("a", error)) << error;
        }
        return false;
    }

    void await() {
        awaitEndingJobs(bed.proxy, [this](auto length) { return pause(length); });
    }

    test::ServiceBed bed;
    ApiToJobRequest request;
    JobToApiReply reply;
    std::unique_ptr<test::FakeSetupPeer> peer;
    int pauses = 0;
};

TEST_F(EndingJobsTest, AreWaitedFor) {
    runJob(tarn::proto::job_monitoring::JOB_STATE_STOPPING);
    await();
    EXPECT_EQ(request.type(), ApiToJobRequest::STATUS);
    EXPECT_EQ(pauses, 3);
    EXPECT_TRUE(bed.log.has("INFO Waiting for 1 job(s) to end"));
}

TEST_F(EndingJobsTest, ThatAreOverButNotGoneAreWaitedFor) {
    runJob(tarn::proto::job_monitoring::JOB_STATE_ENDED);
    await();
    EXPECT_EQ(pauses, 3);
}

TEST_F(EndingJobsTest, AreNotThoseThatPlayOrWaitToPlayAgain) {
    for (const auto state : {tarn::proto::job_monitoring::JOB_STATE_PLAYING,
                             tarn::proto::job_monitoring::JOB_STATE_WAITING_TO_RESTART,
                             tarn::proto::job_monitoring::JOB_STATE_STARTING}) {
        runJob(state);
        await();
        EXPECT_EQ(pauses, 0);
    }
}

TEST_F(EndingJobsTest, AreFoundHoweverManyOthersDoNotAnswer) {
    for (int i = 0; i < 10; ++i) {
        bed.registerJob("silent " + std::to_string(i), test::uniqueEndpoint());
    }
    runJob(tarn::proto::job_monitoring::JOB_STATE_STOPPING);
    await();
    EXPECT_EQ(pauses, 3);
    EXPECT_TRUE(bed.log.has("INFO Waiting for 1 job(s) to end"));
}

TEST_F(EndingJobsTest, AreNotThoseThatDoNotAnswer) {
    bed.registerJob("a", test::uniqueEndpoint());
    await();
    EXPECT_EQ(pauses, 0);
    EXPECT_TRUE(bed.log.contains("DEBUG A job does not tell its state: "));
}

TEST_F(EndingJobsTest, AreNotThoseThatAreDead) {
    test::Process process({"sleep", "1000"});
    const auto endpoint = test::uniqueEndpoint();
    socket::Socket job("job", socket::ClosePolicy::Discard);
    job.createAndConnect(socket::Protocol::Reply, socket::SocketEndpoint::FromString(endpoint), 0);
    tarn::proto::job_monitoring::JobDescription description;
    description.set_job_id("dead");
    std::string error;
    ASSERT_TRUE(bed.proxy.registerJob({resource_manager::JobDescription(description),
                                       endpoint,
                                       "",
                                       os::ProcessIdentity::of(process.id()),
                                       {}},
                                      error))
        << error;
    process.signal(SIGKILL);
    process.wait();
    await();
    EXPECT_EQ(pauses, 0);
    EXPECT_EQ(job.poll(0, error), 1);  // nor is it asked
    EXPECT_FALSE(bed.log.contains("A job does not tell its state"));
}

TEST_F(EndingJobsTest, AreWaitedForNoLongerThanTheBound) {
    runJob(tarn::proto::job_monitoring::JOB_STATE_STOPPING);
    awaitEndingJobs(
        bed.proxy, [](auto) { return false; }, 0ms);
    EXPECT_TRUE(bed.log.has("WARN 1 job(s) have not ended yet"));
}

TEST_F(EndingJobsTest, AreNotWaitedForWhenTheServiceIsToStop) {
    runJob(tarn::proto::job_monitoring::JOB_STATE_STOPPING);
    awaitEndingJobs(bed.proxy, [this](auto) { return ++pauses > 0; });
    EXPECT_EQ(pauses, 1);
    EXPECT_FALSE(bed.log.contains("have not ended yet"));
}

TEST_F(EndingJobsTest, AreNotWaitedForLongerThanTheBound) {
    runJob(tarn::proto::job_monitoring::JOB_STATE_STOPPING);
    awaitEndingJobs(
        bed.proxy, [](auto) { return false; }, 1ms);
    EXPECT_TRUE(bed.log.has("WARN 1 job(s) have not ended yet"));
}

TEST_F(EndingJobsTest, CannotBeKnownWithoutTheResourceManager) {
    std::string ignored;
    bed.proxy.disconnect(ignored);
    await();
    EXPECT_EQ(pauses, 0);
    EXPECT_TRUE(bed.log.contains("ERROR Cannot look for jobs that are still ending: "));
    // which is what the shutdown says
    EXPECT_FALSE(bed.log.contains("Failed to get running jobs"));
}

}  // namespace tarn::service
