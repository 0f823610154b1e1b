#include "service/runtime/shutdown/ShutdownSequence.h"

#include <gmock/gmock.h>

#include <future>

#include "platform/socket/Socket.h"
#include "service/api/ApiToServiceRequestHandler.h"
#include "service/runtime/DeadJobCleaner.h"
#include "tests/service/support/ServiceBed.h"

namespace tarn::service {

using testing::ElementsAre;

class ShutdownSequenceTest : public testing::Test {
  protected:
    std::vector<std::string> shutDown() {
        const test::LogCapture log;
        runShutdownSequence(
            2, {bed.deviceEvents, bed.emitter, bed.devices, api, bed.proxy, bed.resourceManager});
        return log.lines();
    }

    test::ServiceBed bed;
    ApiToServiceRequestHandler api{
        "",
        {bed.workflows, bed.proxy, bed.configuration, bed.devices, bed.shell(),
         std::chrono::steady_clock::now, [] { return std::time_t(0); },
         dictionary::ComponentsDictionary("/nonexistent")}};
};

TEST_F(ShutdownSequenceTest, StopsEverythingInOrder) {
    EXPECT_THAT(
        shutDown(),
        ElementsAre("TRACE Caught signal 2", "INFO Terminating service",
                    "INFO Stopping device event listener", "INFO Device event listener stopped",
                    "INFO Stopping event emitter", "INFO Event emitter stopped",
                    "INFO Stopping device controllers", "INFO Device controllers stopped",
                    "INFO Terminating request handler listener", "INFO Request handler terminated",
                    "INFO Terminating running jobs", "INFO Running jobs terminated",
                    "INFO Disconnecting resource manager proxy",
                    "INFO Resource manager proxy disconnected",
                    "INFO Terminating resource manager handler",
                    "INFO Resource manager handler terminated", "INFO Service terminated"));
}

namespace {

class Unstoppable : public devices::DeviceEventListener {
  public:
    using DeviceEventListener::DeviceEventListener;
    void stop(std::string& error) override { error = "no such thread"; }
};

}  // namespace

TEST_F(ShutdownSequenceTest, GoesOnWhenTheDeviceEventListenerDoesNotStop) {
    Unstoppable listener([this]() -> devices::DeviceManager& { return bed.devices; });
    const test::LogCapture log(utils::LogLevel::Info);
    runShutdownSequence(2,
                        {listener, bed.emitter, bed.devices, api, bed.proxy, bed.resourceManager});
    const auto lines = log.lines();
    ASSERT_GT(lines.size(), 4U);
    EXPECT_EQ(lines[1], "INFO Stopping device event listener");
    EXPECT_EQ(lines[2], "ERROR Error during DeviceEventListener stop: no such thread");
    EXPECT_EQ(lines[3], "INFO Device event listener stopped");
    EXPECT_EQ(lines.back(), "INFO Service terminated");
}

TEST_F(ShutdownSequenceTest, SaysDisconnectedAlsoAfterAFailure) {
    std::string error;
    ASSERT_TRUE(bed.proxy.disconnect(error));
    const auto lines = shutDown();
    const auto failed = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
        return line.starts_with("ERROR Failed disconnecting ResourceManagerProxy: ");
    });
    ASSERT_NE(failed, lines.end());
    EXPECT_EQ(*std::next(failed), "INFO Resource manager proxy disconnected");
}

TEST_F(ShutdownSequenceTest, LetsNoJobInAnyMore) {
    shutDown();
    EXPECT_THROW(bed.registerJob("late", "ipc:///tmp/late"), std::runtime_error);
}

TEST_F(ShutdownSequenceTest, LeavesJobsAloneWhoseRegistryItDoesNotKeep) {
    const auto endpoint = test::uniqueEndpoint();
    socket::Socket job("job", socket::ClosePolicy::Discard);
    job.createAndConnect(socket::Protocol::Reply, socket::SocketEndpoint::FromString(endpoint), 0);
    bed.registerJob("a", endpoint);
    resource_manager::ResourceManagerRequestHandler neverStarted(bed.folder.path());
    runShutdownSequence(2,
                        {bed.deviceEvents, bed.emitter, bed.devices, api, bed.proxy, neverStarted});
    std::string error;
    EXPECT_EQ(job.poll(0, error), 1);
    EXPECT_TRUE(bed.log.contains("Another service keeps the registry: its 1 running job(s)"));
}

TEST_F(ShutdownSequenceTest, EndsTheDeadJobCleaner) {
    const test::LogCapture log;
    startDeadJobCleaner();
    EXPECT_TRUE(mustRun);
    // this process's own proxy is not connected
    EXPECT_TRUE(log.waitFor("ERROR Failed to clear dead processes: "));
    shutDown();
    EXPECT_FALSE(mustRun);
    EXPECT_FALSE(deadJobCleaner->joinable());
}

TEST(DeadJobCleanerTest, ClearsEveryTwoSecondsUntilItIsStopped) {
    const test::LogCapture log;
    std::vector<std::chrono::milliseconds> pauses;
    mustRun = true;
    deadJobCleanerFunction([&](std::chrono::milliseconds duration) {
        pauses.push_back(duration);
        // this process's own proxy is not connected: a line for each time that it was asked
        EXPECT_EQ(log.lines().size(), pauses.size());
        mustRun = pauses.size() < 3;
    });
    EXPECT_THAT(pauses, testing::Each(std::chrono::seconds(2)));
    EXPECT_THAT(log.lines(),
                ElementsAre(testing::StartsWith("ERROR Failed to clear dead processes: "),
                            testing::StartsWith("ERROR Failed to clear dead processes: "),
                            testing::StartsWith("ERROR Failed to clear dead processes: ")));
}

TEST(DeadJobCleanerTest, IsWokenFromItsPauseByTheStop) {
    mustRun = true;
    auto pause =
        std::async(std::launch::async, [] { pauseUnlessCleanerStops(std::chrono::seconds(20)); });
    EXPECT_EQ(pause.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    stopDeadJobCleaner();
    EXPECT_EQ(pause.wait_for(std::chrono::seconds(10)), std::future_status::ready);
}

TEST(DeadJobCleanerTest, DoesNothingOnceItIsStopped) {
    const test::LogCapture log;
    mustRun = false;
    deadJobCleanerFunction([](std::chrono::milliseconds) { FAIL() << "it did not end"; });
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST_F(ShutdownSequenceTest, EndsACleanerThatHasNotRunYet) {
    startDeadJobCleaner();
    shutDown();
    EXPECT_FALSE(mustRun);
    EXPECT_FALSE(deadJobCleaner->joinable());
}

}  // namespace tarn::service
