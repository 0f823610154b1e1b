#include <gmock/gmock.h>

#include <future>
#include <thread>

#include "tests/service/api/ApiBed.h"

namespace tarn::service {

using namespace std::chrono_literals;
using tarn::proto::api_service::ApiToServiceRequest;

class ApiLifecycleTest : public testing::Test {
  protected:
    std::future<void> waiting() {
        return std::async(std::launch::async, [this] { bed.server.waitForTermination(); });
    }

    /// Starts the server on an endpoint that somebody else holds.
    void startInVain() {
        holder.createAndConnect(socket::Protocol::Reply,
                                socket::SocketEndpoint::FromString(bed.endpoint), 0);
        bed.workflows.init(socket::SocketEndpoint::FromString(bed.endpoint), {});
        bed.server.start("TarnService");
        ASSERT_TRUE(bed.log.waitFor(
            "ERROR Api requests handler > Failed creating request reception socket: "));
    }

    socket::Socket holder{"holder", socket::ClosePolicy::Discard};
    test::ApiBed bed;
};

TEST_F(ApiLifecycleTest, TerminatingWithoutAStartReturnsAndSaysNothing) {
    const auto before = bed.log.lines();
    bed.server.terminate();
    bed.server.terminate();
    EXPECT_EQ(bed.log.lines(), before);
}

TEST_F(ApiLifecycleTest, AServerThatWasTerminatedBeforeItsStartServesNobody) {
    bed.server.terminate();
    const auto endpoint = socket::SocketEndpoint::FromString(bed.endpoint);
    bed.client.setTimeout(100ms);
    bed.client.createAndConnect(socket::Protocol::Request, endpoint, 0);
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::GET_INFO);
    bed.send(request);
    bed.workflows.init(endpoint, {});
    bed.server.start("TarnService");
    tarn::proto::api_service::ServiceToApiReply reply;
    EXPECT_THROW(bed.client.receiveProtoBuf(&reply, 1000), std::runtime_error);
    EXPECT_FALSE(bed.log.contains("Received "));
}

// A busy machine may hold one up, or two.
TEST(IdleApiServerTest, IsTerminatedWithinAboutHalfASecond) {
    bool inTime = false;
    for (int attempt = 0; attempt < 5 && !inTime; ++attempt) {
        test::ApiBed bed;
        bed.start();
        bed.settle();
        const auto begin = std::chrono::steady_clock::now();
        bed.server.terminate();
        inTime = std::chrono::steady_clock::now() - begin < 800ms;
    }
    EXPECT_TRUE(inTime) << "in none of the attempts";
}

TEST_F(ApiLifecycleTest, AWaitIsNotEndedByTerminateAlone) {
    bed.start();
    auto waiter = waiting();
    bed.server.terminate();
    EXPECT_EQ(waiter.wait_for(50ms), std::future_status::timeout);
    bed.server.releaseWaiters();
    EXPECT_EQ(waiter.wait_for(10s), std::future_status::ready);
}

TEST_F(ApiLifecycleTest, AReleaseIsNotLostOnAWaitThatBeginsLater) {
    bed.server.terminate();
    bed.server.releaseWaiters();
    EXPECT_EQ(waiting().wait_for(10s), std::future_status::ready);
}

TEST_F(ApiLifecycleTest, AnEndpointThatCannotBeOpenedEndsTheWait) {
    auto waiter = waiting();
    startInVain();
    EXPECT_EQ(waiter.wait_for(10s), std::future_status::ready);
}

TEST_F(ApiLifecycleTest, AnEndpointThatCannotBeOpenedEndsAWaitThatBeginsLater) {
    startInVain();
    EXPECT_EQ(waiting().wait_for(10s), std::future_status::ready);
}

TEST_F(ApiLifecycleTest, AServerThatCouldNotStartCanBeTerminated) {
    startInVain();
    bed.server.terminate();
}

// Nothing tells when the thread has come to wait for somebody to tell: each has a little longer.
TEST(ApiServerThatCouldNotStartTest, CanBeTerminatedAtAnyTime) {
    const auto endpoint = socket::SocketEndpoint::FromString(test::uniqueEndpoint());
    socket::Socket holder("holder", socket::ClosePolicy::Discard);
    holder.createAndConnect(socket::Protocol::Reply, endpoint, 0);
    for (int steps = 1; steps <= 1 << 14; steps *= 4) {
        test::ApiBed bed;
        bed.workflows.init(endpoint, {});
        bed.server.start("TarnService");
        ASSERT_TRUE(bed.log.waitFor("Failed creating request reception socket: "));
        for (int step = 0; step < steps; ++step) {
            std::this_thread::yield();
        }
        bed.server.terminate();
    }
}

TEST_F(ApiLifecycleTest, IsSaidToBeReachableOnceAndToLiveAfterEachRound) {
    bed.start();
    bed.settle();
    EXPECT_EQ(bed.reachable, 1);
    bed.settle();  // answered in a round of its own, so the one before is over
    EXPECT_GE(bed.rounds, 1);
    bed.server.terminate();
    EXPECT_GE(bed.rounds, 2);
    EXPECT_EQ(bed.reachable, 1);
}

TEST_F(ApiLifecycleTest, AnEndpointThatCannotBeOpenedIsNotSaidToBeReachable) {
    startInVain();
    bed.server.terminate();
    EXPECT_EQ(bed.reachable, 0);
    EXPECT_EQ(bed.rounds, 0);
}

TEST_F(ApiLifecycleTest, AMissingDictionaryIsLoggedAndTheServerAnswers) {
    std::filesystem::remove(bed.folder.path() / "dictionary.xml");
    bed.start();
    EXPECT_TRUE(
        bed.log.contains("FATAL Api requests handler > Init from local dictionary failed: "));
    EXPECT_TRUE(bed.ask(ApiToServiceRequest::GET_INFO).success());
}

}  // namespace tarn::service
