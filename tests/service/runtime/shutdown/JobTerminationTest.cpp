#include "service/runtime/shutdown/JobTermination.h"

#include <gmock/gmock.h>

#include <chrono>
#include <list>
#include <vector>

#include "platform/socket/Socket.h"
#include "platform/utils/EscapedText.h"
#include "proto/api_job.pb.h"
#include "tests/service/support/ServiceBed.h"
#include "tests/support/peers/FakeSetupPeer.h"

namespace tarn::service {

using namespace std::chrono_literals;
using tarn::proto::api_job::ApiToJobRequest;
using tarn::proto::api_job::ApiToJobRequestDestroy;
using tarn::proto::api_job::JobToApiReply;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class JobTerminationTest : public testing::Test {
  protected:
    JobTerminationTest() {
        reply.set_type(JobToApiReply::DESTROY);
        reply.set_success(true);
    }

    void expectDestroyed(const ApiToJobRequest& request) {
        EXPECT_EQ(request.type(), ApiToJobRequest::DESTROY);
        const auto& destroy = request.GetExtension(ApiToJobRequestDestroy::base);
        EXPECT_TRUE(destroy.has_destroy_option());
        EXPECT_FALSE(destroy.destroy_option());
    }

    /// What was said about answers, in its order.
    std::vector<std::string> linesOfJobs() {
        auto lines = bed.log.lines();
        std::erase_if(lines, [](const std::string& line) {
            return !line.starts_with("TRACE Received reply: ") &&
                   !line.starts_with("ERROR Failed destroy command to job: ");
        });
        return lines;
    }

    test::ServiceBed bed;
    ApiToJobRequest first;
    ApiToJobRequest second;
    JobToApiReply reply;
};

TEST_F(JobTerminationTest, SendsEachRunningJobADestroyRequest) {
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

TEST_F(JobTerminationTest, ReachesAJobOnEveryInterfaceAtLocalhost) {
    auto endpoint = test::freeTcpEndpoint();
    endpoint.replace(endpoint.find("127.0.0.1"), 9, "*");
    test::FakeSetupPeer job(endpoint, first, &reply);
    bed.registerJob("a", endpoint);
    terminateJobs(bed.proxy);
    EXPECT_TRUE(job.gotRequest());
}

TEST_F(JobTerminationTest, GoesOnAfterAJobThatCannotBeReached) {
    const auto b = test::uniqueEndpoint();
    test::FakeSetupPeer jobB(b, second, &reply);
    bed.registerJob("bad", "nonsense");
    bed.registerJob("away", test::uniqueEndpoint());
    bed.registerJob("b", b);
    terminateJobs(bed.proxy, 1s);
    EXPECT_TRUE(jobB.gotRequest());
    EXPECT_TRUE(bed.log.contains("ERROR Failed destroy command to job: "));
}

TEST_F(JobTerminationTest, DoesNotWaitForAJobThatTakesTheRequestAndIsSilent) {
    const auto a = test::uniqueEndpoint();
    test::FakeSetupPeer job(a, first, nullptr);
    bed.registerJob("a", a);
    terminateJobs(bed.proxy, 1s);
    EXPECT_TRUE(job.gotRequest());
    EXPECT_TRUE(bed.log.contains("ERROR Failed destroy command to job: "));
}

// What one job costs is what all of them cost: the last one has its order while the first is
// silent.
TEST_F(JobTerminationTest, OrdersAllJobsAtOnceAndWaitsForThemTogether) {
    std::list<ApiToJobRequest> requests;
    std::list<test::FakeSetupPeer> silent;
    for (int i = 0; i < 24; ++i) {
        const auto endpoint = test::uniqueEndpoint();
        silent.emplace_back(endpoint, requests.emplace_back(), nullptr);
        bed.registerJob("silent " + std::to_string(i), endpoint);
    }
    const auto last = test::uniqueEndpoint();
    test::FakeSetupPeer answering(last, second, &reply);
    bed.registerJob("answering", last);
    const auto begin = std::chrono::steady_clock::now();
    terminateJobs(bed.proxy, 500ms);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);  // one after the other: 12 s
    EXPECT_TRUE(answering.gotRequest());
    for (auto& job : silent) {
        EXPECT_TRUE(job.gotRequest());
    }
    const auto lines = linesOfJobs();
    ASSERT_EQ(lines.size(), 25U);
    EXPECT_THAT(lines.front(), AllOf(StartsWith("ERROR Failed destroy command to job: "),
                                     EndsWith(": nothing was received within 500 ms")));
    EXPECT_EQ(lines.back(), utils::escapeForLog("TRACE Received reply: " + reply.DebugString()));
}

TEST_F(JobTerminationTest, SaysWhatBecameOfEachJobInTheOrderOfTheList) {
    const auto a = test::uniqueEndpoint();
    const auto c = test::uniqueEndpoint();
    test::FakeSetupPeer jobA(a, first, &reply);
    test::FakeSetupPeer jobC(c, second, &reply);
    bed.registerJob("a", a);
    bed.registerJob("b", "nonsense");
    bed.registerJob("c", c);
    terminateJobs(bed.proxy);
    EXPECT_THAT(linesOfJobs(),
                ElementsAre(StartsWith("TRACE Received reply: "),
                            AllOf(StartsWith("ERROR Failed destroy command to job: "),
                                  HasSubstr("nonsense")),
                            StartsWith("TRACE Received reply: ")));
}

TEST_F(JobTerminationTest, LeavesTheJobsOfAnotherServiceAlone) {
    const auto a = test::uniqueEndpoint();
    socket::Socket job("job", socket::ClosePolicy::Discard);
    job.createAndConnect(socket::Protocol::Reply, socket::SocketEndpoint::FromString(a), 0);
    bed.registerJob("a", a);
    terminateJobs(bed.proxy, 1s, RegistryKeeper::AnotherService);
    std::string error;
    EXPECT_EQ(job.poll(0, error), 1);
    EXPECT_THAT(linesOfJobs(), IsEmpty());
    EXPECT_TRUE(bed.log.has(
        "INFO Another service keeps the registry: its 1 running job(s) are left alone"));
}

TEST_F(JobTerminationTest, SendsNothingWhenTheResourceManagerIsAway) {
    std::string error;
    ASSERT_TRUE(bed.proxy.disconnect(error));
    terminateJobs(bed.proxy);
    EXPECT_TRUE(bed.log.contains("ERROR Failed to get running jobs: "));
}

}  // namespace tarn::service
