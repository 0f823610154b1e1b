#include <gmock/gmock.h>

#include <set>

#include "platform/socket/Socket.h"
#include "service/workflows/WorkflowCreator.h"
#include "service/workflows/launch/FreeEndpoint.h"
#include "tests/service/support/ServiceBed.h"

namespace tarn::service {

using socket::SocketEndpoint;
using testing::EndsWith;
using testing::MatchesRegex;

constexpr auto blindly =
    "WARN Workflow creator > Warning: Getting tcp ports on a non-configured interface. "
    "Attributing ports blindly.";

class JobEndpointsTest : public testing::Test {
  protected:
    /// A creator behind requests on `requests`, with these ports configured.
    void begin(const std::string& requests, const std::string& ports = {}) {
        bed = std::make_unique<test::ServiceBed>("<Resources>" + ports + "</Resources>");
        creator = std::make_unique<WorkflowCreator>(WorkflowCreator::Dependencies{
            bed->configuration, bed->proxy, bed->shell(), [this] { return randomNumbers++; },
            [this](const SocketEndpoint& endpoint) {
                ++tried;
                return !taken.contains(endpoint.port());
            }});
        creator->init(SocketEndpoint::FromString(requests), {});
    }

    std::string next() {
        std::string endpoint = "old";
        error = "old";
        succeeded = creator->generateNewEndpointString(endpoint, error);
        return endpoint;
    }

    std::unique_ptr<test::ServiceBed> bed;
    std::unique_ptr<WorkflowCreator> creator;
    int randomNumbers = 0;  // 0, 1, 2, ...
    std::set<int> taken;    // ports on which others listen
    int tried = 0;          // how often that was asked
    bool succeeded = false;
    std::string error;
};

TEST_F(JobEndpointsTest, PrivateOnesAreIpcEndpointsWithAFreshUuid) {
    begin("ipc:///tmp/requests");
    std::set<std::string> seen;
    for (int i = 0; i < 10; ++i) {
        std::string endpoint;
        EXPECT_TRUE(creator->generateIpcEndpointString(endpoint, error));
        EXPECT_THAT(endpoint, MatchesRegex("ipc:///tmp/[0-9a-f-]{36}"));
        EXPECT_TRUE(seen.insert(endpoint).second);
        EXPECT_EQ(error, "");
    }
}

TEST_F(JobEndpointsTest, AreIpcWhenTheRequestsEndpointIs) {
    begin("ipc:///tmp/requests", R"(<TcpPorts interface="requests" from="1" to="2"/>)");
    EXPECT_THAT(next(), MatchesRegex("ipc:///tmp/[0-9a-f-]{36}"));
    EXPECT_TRUE(succeeded);
    EXPECT_FALSE(bed->log.has(blindly));
}

TEST_F(JobEndpointsTest, AreEmptyForAnyOtherTransport) {
    begin("inproc://requests");
    EXPECT_EQ(next(), "");
    EXPECT_TRUE(succeeded);
    EXPECT_EQ(error, "");
}

TEST_F(JobEndpointsTest, AreDrawnFromTheRangeOfTheRequestsHost) {
    begin("tcp://127.0.0.1:5000", R"(<TcpPorts interface="127.0.0.1" from="6000" to="6002"/>)");
    EXPECT_EQ(next(), "tcp://127.0.0.1:6000");
    EXPECT_EQ(next(), "tcp://127.0.0.1:6001");
    EXPECT_EQ(next(), "tcp://127.0.0.1:6002");
}

TEST_F(JobEndpointsTest, DoNotMindARangeGivenBackwards) {
    begin("tcp://127.0.0.1:5000", R"(<TcpPorts interface="127.0.0.1" from="6002" to="6000"/>)");
    EXPECT_EQ(next(), "tcp://127.0.0.1:6000");
}

TEST_F(JobEndpointsTest, KeepAHostOfEveryInterface) {
    begin("tcp://*:5000", R"(<TcpPorts interface="*" from="6000" to="6010"/>)");
    EXPECT_EQ(next(), "tcp://*:6000");
}

TEST_F(JobEndpointsTest, ComeFromAFixedRangeWithAWarningWhereNoneIsConfigured) {
    begin("tcp://127.0.0.1:5000");
    randomNumbers = 10001;  // the range has 10001 ports
    EXPECT_EQ(next(), "tcp://127.0.0.1:10000");
    EXPECT_TRUE(bed->log.has(blindly));
}

TEST_F(JobEndpointsTest, AreNotGivenTwiceInShortOrder) {
    begin("tcp://127.0.0.1:5000", R"(<TcpPorts interface="127.0.0.1" from="6000" to="6000"/>)");
    EXPECT_EQ(next(), "tcp://127.0.0.1:6000");
    EXPECT_EQ(next(), "");
    EXPECT_FALSE(succeeded);
    EXPECT_EQ(error, "Workflow creator > No endpoint available");
    EXPECT_EQ(randomNumbers, 51);  // 50 attempts for the second
}

TEST_F(JobEndpointsTest, WhoHasThemIsTold) {
    begin("tcp://127.0.0.1:5000", R"(<TcpPorts interface="127.0.0.1" from="6002" to="6000"/>)");
    bed->registerJob("one", "ipc:///tmp/x",
                     {{"Endpoint",
                       {"tcp://127.0.0.1:6000", "tcp://127.0.0.1:7000", "ipc:///tmp/x",
                        "tcp://127.0.0.2:6000"}}});
    next();
    next();
    EXPECT_EQ(creator->describePortUse(),
              "Of the ports 6000 to 6002 of 127.0.0.1 2 were given out lately and running jobs "
              "hold 1");
    begin("ipc:///tmp/requests");
    EXPECT_EQ(creator->describePortUse(), "");
}

TEST_F(JobEndpointsTest, AreNotThoseOfRunningJobs) {
    begin("tcp://127.0.0.1:5000", R"(<TcpPorts interface="127.0.0.1" from="6000" to="6001"/>)");
    bed->registerJob("one", "tcp://127.0.0.1:6000", {{"Endpoint", {"tcp://127.0.0.1:6000"}}});
    EXPECT_EQ(next(), "tcp://127.0.0.1:6001");
}

TEST_F(JobEndpointsTest, AreNotThoseOnWhichSomebodyElseListens) {
    begin("tcp://127.0.0.1:5000", R"(<TcpPorts interface="127.0.0.1" from="6000" to="6002"/>)");
    taken = {6000, 6001};
    EXPECT_EQ(next(), "tcp://127.0.0.1:6002");
    EXPECT_FALSE(bed->log.contains("is given all the same"));
}

TEST_F(JobEndpointsTest, AreTheRegistrysWordWhereSomebodyListensOnAllThatAreLeft) {
    begin("tcp://127.0.0.1:5000", R"(<TcpPorts interface="127.0.0.1" from="6000" to="6002"/>)");
    bed->registerJob("one", "tcp://127.0.0.1:6000", {{"Endpoint", {"tcp://127.0.0.1:6000"}}});
    taken = {6000, 6001, 6002};
    EXPECT_EQ(next(), "tcp://127.0.0.1:6001");
    EXPECT_EQ(error, "");
    EXPECT_TRUE(bed->log.has(
        "WARN Workflow creator > No port was found that no job holds and nobody listens on: "
        "tcp://127.0.0.1:6001 is given all the same"));
    EXPECT_EQ(next(), "tcp://127.0.0.1:6002");
    EXPECT_EQ(next(), "");
    EXPECT_EQ(error, "Workflow creator > No endpoint available");
}

TEST_F(JobEndpointsTest, OnWhichSomebodyListensAreTriedOnceForEachThatIsWanted) {
    begin("tcp://127.0.0.1:5000", R"(<TcpPorts interface="127.0.0.1" from="6000" to="6001"/>)");
    taken = {6000, 6001};
    next();
    EXPECT_EQ(tried, 2);
    EXPECT_EQ(randomNumbers, 50);
}

TEST_F(JobEndpointsTest, FoundAtTheFiftiethAttemptAreNotGivenAllTheSame) {
    begin("tcp://127.0.0.1:5000", R"(<TcpPorts interface="127.0.0.1" from="6000" to="6049"/>)");
    for (int i = 0; i < 49; ++i) {
        next();
    }
    taken = {6049};
    randomNumbers = 0;
    EXPECT_EQ(next(), "");
    EXPECT_EQ(error, "Workflow creator > No endpoint available");
}

TEST_F(JobEndpointsTest, OfARangeWithPortZeroAreThoseThatCanBeOne) {
    begin("tcp://127.0.0.1:5000", R"(<TcpPorts interface="127.0.0.1" from="0" to="1"/>)");
    EXPECT_EQ(next(), "tcp://127.0.0.1:1");
}

TEST_F(JobEndpointsTest, OfPortZeroAloneAreNone) {
    begin("tcp://127.0.0.1:5000", R"(<TcpPorts interface="127.0.0.1" from="0" to="0"/>)");
    EXPECT_EQ(next(), "");
    EXPECT_FALSE(succeeded);
    EXPECT_EQ(error, "Workflow creator > No endpoint available");
}

TEST_F(JobEndpointsTest, AreFreeAsLongAsNobodyListensThere) {
    const auto endpoint = SocketEndpoint::FromString(test::freeTcpEndpoint());
    EXPECT_TRUE(isFreeEndpoint(endpoint));
    EXPECT_TRUE(isFreeEndpoint(endpoint));
    {
        socket::Socket listener("listener", socket::ClosePolicy::Discard);
        listener.createAndConnect(socket::Protocol::Publish, endpoint, 0);
        EXPECT_FALSE(isFreeEndpoint(endpoint));
        EXPECT_FALSE(isFreeEndpoint(SocketEndpoint(endpoint.transport(), "*", endpoint.port())));
    }
    EXPECT_TRUE(isFreeEndpoint(endpoint));
}

TEST_F(JobEndpointsTest, AreGivenAgainOnceFiftyOthersWere) {
    begin("tcp://127.0.0.1:5000", R"(<TcpPorts interface="127.0.0.1" from="6000" to="6050"/>)");
    for (int i = 0; i <= 50; ++i) {
        EXPECT_THAT(next(), EndsWith(":" + std::to_string(6000 + i)));
    }
    EXPECT_EQ(next(), "tcp://127.0.0.1:6000");  // drawn first, and pushed out by the 51st
}

TEST_F(JobEndpointsTest, FoundAtTheFiftiethAttemptAreNotTaken) {
    begin("tcp://127.0.0.1:5000", R"(<TcpPorts interface="127.0.0.1" from="6000" to="6049"/>)");
    for (int i = 0; i < 49; ++i) {
        next();
        ASSERT_TRUE(succeeded);
    }
    randomNumbers = 0;  // 49 attempts hit recent endpoints, the fiftieth would be free
    EXPECT_EQ(next(), "");
    EXPECT_FALSE(succeeded);
}

TEST_F(JobEndpointsTest, AreStillGivenWhenTheResourceManagerIsAway) {
    begin("tcp://127.0.0.1:5000", R"(<TcpPorts interface="127.0.0.1" from="6000" to="6001"/>)");
    std::string ignored;
    bed->proxy.disconnect(ignored);
    EXPECT_EQ(next(), "tcp://127.0.0.1:6000");
    EXPECT_TRUE(bed->log.contains(
        "ERROR Workflow creator > Failed to get running jobs by property and value: "));
}

}  // namespace tarn::service
