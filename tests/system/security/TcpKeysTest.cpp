#include <signal.h>

#include <filesystem>

#include "tests/support/Eventually.h"
#include "tests/system/security/TcpKeysTest.h"

namespace tarn::test {

namespace {

using socket::ClosePolicy;
using socket::SocketEndpoint;

TEST_F(TcpKeysTest, AKnownKeyIsServed) {
    addClient("studio", "operate");
    startWithKeys();
    const auto result = as("studio", {"info"});
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_NE(result.out.find("TarnService"), std::string::npos) << result.out;
}

TEST_F(TcpKeysTest, AKeyThatIsNotKnownIsRefusedAndTheRefusalIsTold) {
    generate("stranger");
    startWithKeys();
    const auto result = as("stranger", {"info"});
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_EQ(result.err, "tarnctl: tcp://127.0.0.1:20100 does not let this key connect\n");
    EXPECT_TRUE(service().waitForLog("127.0.0.1 refused: key "));
}

TEST_F(TcpKeysTest, WhoHasNoKeyIsRefused) {
    startWithKeys();
    const auto result = tarnctl({"info", "--endpoint", requests});
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_EQ(result.err,
              "tarnctl: tcp://127.0.0.1:20100 ends the connection: it may want a key\n");
}

TEST_F(TcpKeysTest, AServerThatIsNotTheExpectedOneIsNotSpokenTo) {
    addClient("studio", "operate");
    generate("another-server");
    startWithKeys();
    const auto result = as("studio", {"info"}, "another-server");
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_EQ(result.err,
              "tarnctl: tcp://127.0.0.1:20100 ends the connection: it has another key "
              "than is expected of it, or none\n");
}

TEST_F(TcpKeysTest, AServerWithoutKeysIsNotSpokenTo) {
    generate("studio");
    start();
    const auto result = as("studio", {"info"});
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_EQ(result.err,
              "tarnctl: tcp://127.0.0.1:20100 ends the connection: it has another key "
              "than is expected of it, or none\n");
}

TEST_F(TcpKeysTest, KeysAreTakenOverWithoutARestart) {
    startWithKeys();
    addClient("studio", "read");
    EXPECT_EQ(as("studio", {"info"}).exitStatus, 0);
    removeClient("studio");
    EXPECT_EQ(as("studio", {"info"}).exitStatus, 3);
    EXPECT_TRUE(service().waitForLog("keys of clients have changed"));
}

// Its command and event endpoints ask for the same keys as the service.
TEST_F(TcpKeysTest, AJobsEndpointsAreProtectedToo) {
    addClient("studio", "operate");
    generate("stranger");
    startWithKeys();
    const auto job = submitAs("studio");
    for (const auto& endpoint : {job.commandEndpoint, job.eventEndpoint}) {
        const auto protocol =
            endpoint == job.eventEndpoint ? Protocol::Subscribe : Protocol::Request;
        EXPECT_TRUE(eventually([&] { return connects("studio", protocol, endpoint); })) << endpoint;
        EXPECT_FALSE(connects("stranger", protocol, endpoint)) << endpoint;
        EXPECT_FALSE(connectsWithoutKey(protocol, endpoint)) << endpoint;
    }
    const auto stopped = as("studio", {"jobs", "stop", job.id});
    EXPECT_EQ(stopped.exitStatus, 0) << stopped.out << stopped.err;
}

TEST_F(TcpKeysTest, AConnectionToAJobEndsWithItsKey) {
    addClient("studio", "operate");
    addClient("watcher", "read");
    startWithKeys();
    const auto job = submitAs("studio");
    ASSERT_TRUE(
        eventually([&] { return connects("watcher", Protocol::Subscribe, job.eventEndpoint); }));
    const auto watcher = protectionOf("watcher");
    Socket following("watcher", ClosePolicy::Discard);
    following.protectBy(watcher);
    following.createAndConnect(Protocol::Subscribe, SocketEndpoint::FromString(job.eventEndpoint),
                               5000);
    std::string error;
    ASSERT_EQ(following.poll(10000, error), 0) << error;

    removeClient("watcher");

    EXPECT_TRUE(eventually([&] {
        while (following.poll(0, error) == 0) {
            following.receiveBytes(1U << 20U);
        }
        return following.poll(2500, error) == 1;  // it tells of its progress once a second
    }));
    EXPECT_EQ(as("studio", {"jobs", "stop", job.id}).exitStatus, 0);
}

TEST_F(TcpKeysTest, AnEndpointBeyondThisMachineWithoutKeysIsRefusedWhereTheyAreRequired) {
    configureSections(
        "<Endpoints><RequestsEndpoint>tcp://*:20100</RequestsEndpoint></Endpoints>"
        "<Security required=\"true\"/>");
    EXPECT_EQ(launchService().waitForEnd(), Ending::exited(1));
    EXPECT_TRUE(
        service().log().contains("Could not setup request endpoint: tcp://*:20100 reaches beyond "
                                 "this machine and is refused"));
    const auto check = tarnctl({"config", "check", "/etc/TarnConfiguration.xml"});
    EXPECT_EQ(check.exitStatus, 1);
    EXPECT_NE(check.out.find("tcp://*:20100 reaches beyond this machine"), std::string::npos)
        << check.out;
}

TEST_F(TcpKeysTest, WithoutTheSectionItIsServedAsEverWithAWarning) {
    configureSections("<Endpoints><RequestsEndpoint>tcp://*:20100</RequestsEndpoint></Endpoints>");
    startService();
    EXPECT_TRUE(
        service().log().contains("tcp://*:20100 reaches beyond this machine without encryption"));
    EXPECT_EQ(tarnctl({"info", "--endpoint", requests}).exitStatus, 0);
    EXPECT_EQ(tarnctl({"config", "check", "/etc/TarnConfiguration.xml"}).exitStatus, 1);
}

TEST_F(TcpKeysTest, AKeyFileThatOthersCanReadEndsTheStart) {
    std::filesystem::permissions(keyFile("server"), std::filesystem::perms(0644));
    configureSections(
        "<Security><KeyFile>/tmp/keys/server</KeyFile><ClientKeys>/tmp/keys/clients</ClientKeys>"
        "</Security>");
    EXPECT_EQ(launchService().waitForEnd(), Ending::exited(1));
    EXPECT_TRUE(service().log().contains("Could not setup security: /tmp/keys/server: others"));
}

// The gateway's receiving end is for the service alone, its publishing end for who may read.
TEST_F(TcpKeysTest, TheGatewaysEndsAreProtectedToo) {
    addClient("watcher", "read");
    generate("stranger");
    Process gateway({gatewayProgram, "--events", "tcp://127.0.0.1:20200", "--publish",
                     "tcp://127.0.0.1:20201", "--requests", requests, "--key-file",
                     keyFile("server"), "--client-keys", clientKeys});
    ASSERT_TRUE(gateway.waitForOut("started"));
    startWithKeys("<Endpoints><EventsEndpoint>tcp://127.0.0.1:20200</EventsEndpoint></Endpoints>");
    const std::string published = "tcp://127.0.0.1:20201";
    EXPECT_TRUE(connects("watcher", Protocol::Subscribe, published));
    EXPECT_FALSE(connects("stranger", Protocol::Subscribe, published));
    EXPECT_FALSE(connectsWithoutKey(Protocol::Subscribe, published));
    const std::string events = "tcp://127.0.0.1:20200";
    EXPECT_FALSE(connects("watcher", Protocol::Push, events)) << "it could forge the tree";
    EXPECT_TRUE(connects("server", Protocol::Push, events));

    const auto watcher = protectionOf("watcher");
    Socket following("watcher", ClosePolicy::Discard);
    following.protectBy(watcher);
    following.createAndConnect(Protocol::Subscribe, SocketEndpoint::FromString(published), 5000);
    std::string error;
    EXPECT_EQ(following.poll(10000, error), 0) << "no batch of the service came by" << error;
    EXPECT_EQ(service().stop(), Ending::exited(0));
    gateway.signal(SIGINT);
    EXPECT_EQ(gateway.waitForEnd(), Ending::exited(0));
}

}  // namespace

}  // namespace tarn::test
