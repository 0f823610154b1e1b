#include "service/runtime/JobTermination.h"

#include <gmock/gmock.h>

#include "platform/socket/Socket.h"
#include "proto/api_job.pb.h"
#include "tests/service/support/FakeSetupPeer.h"
#include "tests/service/support/ServiceBed.h"

namespace tarn::service {

using namespace std::chrono_literals;
using tarn::proto::api_job::ApiToJobRequest;
using tarn::proto::api_job::ApiToJobRequestDestroy;
using tarn::proto::api_job::JobToApiReply;
using testing::IsEmpty;

class JobTermination : public testing::Test {
  protected:
    JobTermination() {
        reply.set_type(JobToApiReply::DESTROY);
        reply.set_success(true);
    }

    void expectDestroyed(const ApiToJobRequest& request) {
        EXPECT_EQ(request.type(), ApiToJobRequest::DESTROY);
        const auto& destroy = request.GetExtension(ApiToJobRequestDestroy::base);
        EXPECT_TRUE(destroy.has_destroy_option());
        EXPECT_FALSE(destroy.destroy_option());
    }

    test::ServiceBed bed;
    ApiToJobRequest first;
    ApiToJobRequest second;
    JobToApiReply reply;
};

TEST_F(JobTermination, SendsEachRunningJobADestroyRequest) {
    const auto a = test::uniqueEndpoint();
    const auto b = test::uniqueEndpoint();
    test::FakeSetupPeer jobA(a, first, &reply);
    test::FakeSetupPeer jobB(b, second, &reply);
    bed.registerJob("a", a);
    bed.registerJob("b", b);
    terminateJobs(bed.proxy);
    ASSERT_TRUE(jobA.gotRequest() && jobB.gotRequest());
    expectDestroyed(first);
    expectDestroyed(second);
    EXPECT_TRUE(bed.log.has("TRACE Received reply: " + reply.DebugString()));
}

TEST_F(JobTermination, ReachesAJobOnEveryInterfaceAtLocalhost) {
    auto endpoint = test::freeTcpEndpoint();
    endpoint.replace(endpoint.find("127.0.0.1"), 9, "*");
    test::FakeSetupPeer job(endpoint, first, &reply);
    bed.registerJob("a", endpoint);
    terminateJobs(bed.proxy);
    EXPECT_TRUE(job.gotRequest());
}

TEST_F(JobTermination, GoesOnAfterAJobThatCannotBeReached) {
    const auto b = test::uniqueEndpoint();
    test::FakeSetupPeer jobB(b, second, &reply);
    bed.registerJob("bad", "nonsense");
    bed.registerJob("away", test::uniqueEndpoint());
    bed.registerJob("b", b);
    terminateJobs(bed.proxy, 1s);
    EXPECT_TRUE(jobB.gotRequest());
    EXPECT_TRUE(bed.log.contains("ERROR Failed destroy command to job: "));
}

TEST_F(JobTermination, DoesNotWaitForAJobThatTakesTheRequestAndIsSilent) {
    const auto a = test::uniqueEndpoint();
    test::FakeSetupPeer job(a, first, nullptr);
    bed.registerJob("a", a);
    terminateJobs(bed.proxy, 1s);
    EXPECT_TRUE(job.gotRequest());
    EXPECT_TRUE(bed.log.contains("ERROR Failed destroy command to job: "));
}

TEST_F(JobTermination, SendsNothingWhenTheResourceManagerIsAway) {
    std::string error;
    ASSERT_TRUE(bed.proxy.disconnect(error));
    terminateJobs(bed.proxy);
    EXPECT_TRUE(bed.log.contains("ERROR Failed to get running jobs: "));
}

}  // namespace tarn::service
