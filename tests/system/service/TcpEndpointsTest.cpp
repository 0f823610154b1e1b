#include <signal.h>

#include <filesystem>
#include <list>
#include <set>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/socket/Socket.h"
#include "platform/socket/SocketEndpoint.h"
#include "tests/support/Eventually.h"
#include "tests/system/harness/Processes.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

using namespace std::chrono_literals;

// The private namespace has a loopback network of its own: ports are the test's.
class TcpEndpointsTest : public SystemTest {
  protected:
    void startOn(const std::string& host, const std::string& ranges) {
        configureSections("<Endpoints><RequestsEndpoint>tcp://" + host +
                          ":20100</RequestsEndpoint></Endpoints><Resources>" + ranges +
                          "</Resources>" + sections);
        startService();
    }

    static std::string range(const std::string& interface, int from, int to) {
        return "<TcpPorts interface=\"" + interface + "\" from=\"" + std::to_string(from) +
               "\" to=\"" + std::to_string(to) + "\"/>";
    }

    static constexpr auto requests = "tcp://127.0.0.1:20100";
    std::string sections;
};

TEST_F(TcpEndpointsTest, ARangeThatIsUsedUpGetsNoReplyAndTheNextRequestIsServed) {
    startOn("127.0.0.1", range("127.0.0.1", 30000, 30000));
    Api client("tcp://127.0.0.1:20100");
    ASSERT_TRUE(client.info());
    client.send(submissionOf({.pipeline = endless}));
    EXPECT_TRUE(service().waitForLog("Cannot submit job: "));
    EXPECT_TRUE(service().waitForLog("No endpoint available"));
    EXPECT_FALSE(client.receive(100ms));
    EXPECT_TRUE(client.info());
    EXPECT_FALSE(service().log().contains("Creating workflow: "));
}

TEST_F(TcpEndpointsTest, ARangeOfPortZeroIsLikeOneThatIsUsedUp) {
    startOn("127.0.0.1", range("127.0.0.1", 0, 0));
    Api client("tcp://127.0.0.1:20100");
    client.send(submissionOf({.pipeline = endless}));
    EXPECT_TRUE(
        service().waitForLog("Cannot submit job: Workflow creator > No endpoint available"));
    EXPECT_TRUE(client.info());
}

TEST_F(TcpEndpointsTest, OnWhichOthersListenAreGivenWithAWarningWhereThereIsNothingElse) {
    sections = idleLauncher();
    socket::Socket listener("listener", socket::ClosePolicy::Discard);
    listener.create(socket::Protocol::Reply);
    for (const auto* endpoint : {"tcp://127.0.0.1:30000", "tcp://127.0.0.1:30001"}) {
        listener.connect(socket::SocketEndpoint::FromString(endpoint), 0);
    }
    startOn("127.0.0.1", range("127.0.0.1", 30000, 30001));
    Api client("tcp://127.0.0.1:20100");
    const auto job = client.submit({.pipeline = endless});
    ASSERT_TRUE(job);
    EXPECT_TRUE(job->commandEndpoint.starts_with("tcp://127.0.0.1:3000")) << job->commandEndpoint;
    EXPECT_TRUE(service().waitForLog(job->eventEndpoint + " is given all the same"));
}

TEST_F(TcpEndpointsTest, JobsGetPortsOfTheRangeInWhicheverOrderItIsWritten) {
    sections = idleLauncher();
    startOn("127.0.0.1", range("127.0.0.1", 30009, 30000));
    Api client("tcp://127.0.0.1:20100");
    const auto job = client.submit({.pipeline = endless});
    ASSERT_TRUE(job);
    EXPECT_NE(job->commandEndpoint, job->eventEndpoint);
    for (const auto& endpoint : {job->commandEndpoint, job->eventEndpoint}) {
        EXPECT_TRUE(endpoint.starts_with("tcp://127.0.0.1:3000")) << endpoint;
    }
}

TEST_F(TcpEndpointsTest, WithoutARangePortsAreGivenBlindlyWithAWarning) {
    sections = idleLauncher();
    startOn("127.0.0.1", range("other", 30000, 30009));
    Api client("tcp://127.0.0.1:20100");
    const auto job = client.submit({.pipeline = endless});
    ASSERT_TRUE(job);
    EXPECT_TRUE(service().waitForLog(
        "Warning: Getting tcp ports on a non-configured interface. Attributing ports blindly."));
    const auto port = socket::SocketEndpoint::FromString(job->commandEndpoint).port();
    EXPECT_GE(port, 10000);
    EXPECT_LE(port, 20000);
}

TEST_F(TcpEndpointsTest, EveryRunGivesTheSamePortsInTheSameOrder) {
    sections = idleLauncher();
    std::set<std::string> first;
    for (int run = 0; run < 2; ++run) {
        startOn("127.0.0.1", range("127.0.0.1", 30000, 39999));
        Api client("tcp://127.0.0.1:20100");
        const auto job = client.submit({.pipeline = endless});
        ASSERT_TRUE(job);
        first.insert(job->commandEndpoint);
        EXPECT_EQ(service().stop(), Ending::exited(0));
    }
    EXPECT_EQ(first.size(), 1u);
}

// The ports come in the same order again, and nobody remembers that the first ones are held.
TEST_F(TcpEndpointsTest, OfALostRegistryAPersistentJobComesBackOnPortsThatNoOtherJobHolds) {
    sections = "<Paths><PersistentJobsFolder>/tmp/jobs</PersistentJobsFolder></Paths>";
    startOn("127.0.0.1", range("127.0.0.1", 30000, 30999));
    const auto passing = Api(requests).submit({.pipeline = endless});
    ASSERT_TRUE(passing);
    ASSERT_TRUE(Job(*passing).waitUntilPlaying());
    const auto persistent =
        Api(requests).submit({.pipeline = endless, .persistent = true, .persistentName = "kept"});
    ASSERT_TRUE(persistent);
    ASSERT_TRUE(Job(*persistent).waitUntilPlaying());

    for (const auto& launcher : processesRunning("-l kept ")) {
        ::kill(launcher.id, SIGKILL);
    }
    service().killHard();
    ASSERT_TRUE(eventually([] { return processesRunning("-l kept ").empty(); }));
    std::filesystem::remove_all("/run/halden-tarn");
    startService();
    ASSERT_TRUE(service().waitForLog("Persistent jobs regenerated (if any)"));
    Api client(requests);
    for (const auto& id : {passing->id, persistent->id}) {
        ASSERT_TRUE(eventually([&] { return client.job(id)->has_running_job(); })) << id;
        const auto running = client.job(id)->running_job();
        EXPECT_TRUE(
            Job({id, running.command_endpoint(), running.event_endpoint()}).waitUntilPlaying());
    }
    EXPECT_EQ(client.job(passing->id)->running_job().command_endpoint(), passing->commandEndpoint);
}

TEST_F(TcpEndpointsTest, AJobOnEveryInterfaceRunsAndIsStoppedOnThisHost) {
    startOn("*", range("*", 30000, 30099));
    Api client("tcp://127.0.0.1:20100");
    const auto address = client.submit({.pipeline = endless});
    ASSERT_TRUE(address);
    EXPECT_TRUE(address->commandEndpoint.starts_with("tcp://*:300")) << address->commandEndpoint;
    Job job(*address);
    EXPECT_TRUE(job.waitUntilPlaying());
    EXPECT_EQ(client.jobs("Endpoint", address->commandEndpoint)->size(), 1u);
    EXPECT_EQ(service().stop(), Ending::exited(0));
    const auto end = job.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), Job::End::DESTROYED);
}

TEST_F(TcpEndpointsTest, ResourcesOnEveryInterfaceAreReachedOnThisHost) {
    configureSections(
        "<Endpoints><ResourcesEndpoint>tcp://*:20300</ResourcesEndpoint></Endpoints>");
    startService();
    EXPECT_FALSE(service().log().contains("Failed connecting ResourceManagerProxy"));
    resource_manager::ResourceManagerProxy proxy;
    std::string error;
    for (const std::string host : {"localhost", "127.0.0.2"}) {
        EXPECT_TRUE(
            proxy.connect(socket::SocketEndpoint::FromString("tcp://" + host + ":20300"), error))
            << error;
        std::list<resource_manager::RunningJob> jobs;
        EXPECT_TRUE(proxy.getRunningJobs(jobs, error)) << error;
        EXPECT_TRUE(proxy.disconnect(error)) << error;
    }
    const auto job = startJob({.pipeline = endless});
    EXPECT_TRUE(isListed(job->id()));
    EXPECT_TRUE(job->destroy());
}

}  // namespace

}  // namespace tarn::test
