// Service, gateway, host monitor and tarnctl together.
#include <signal.h>
#include <unistd.h>

#include "tests/support/Eventually.h"
#include "tests/support/Process.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

using namespace std::chrono_literals;

class MonitoringTest : public SystemTest {
  protected:
    void TearDown() override {
        if (service().isRunning()) {
            EXPECT_EQ(service().stop(), Ending::exited(0));
        }
        end(hostMonitor);
        end(gateway);
        SystemTest::TearDown();
    }

    static void end(std::unique_ptr<Process>& program) {
        if (program) {
            program->signal(SIGTERM);
            EXPECT_EQ(program->waitForEnd(20s), Ending::exited(0)) << program->output().text();
            program.reset();
        }
    }

    void startGateway() {
        gateway = std::make_unique<Process>(std::vector<std::string>{gatewayProgram});
        ASSERT_TRUE(gateway->output().waitFor("Gateway > started"));
    }

    void startHostMonitor() {
        hostMonitor = std::make_unique<Process>(
            std::vector<std::string>{hostMonitorProgram, "--name", "studio"});
    }

    void startServiceWithHost() {
        configureSections(
            "<TarnProtocolDevice type=\"Generic\">"
            "<MonitoringInterface>ipc:///tmp/host-monitor</MonitoringInterface>"
            "</TarnProtocolDevice>");
        startService();
    }

    static bool hostIsListed() {
        return tarnctl({"devices"}).out.find("Host-studio") != std::string::npos;
    }

    std::unique_ptr<Process> gateway;
    std::unique_ptr<Process> hostMonitor;
};

TEST_F(MonitoringTest, TheHostIsInTheListAndInTheTree) {
    startGateway();
    startHostMonitor();
    startServiceWithHost();
    ASSERT_TRUE(eventually(hostIsListed));
    const auto tree = tarnctl({"tree", "--properties"});
    EXPECT_EQ(tree.exitStatus, 0);
    EXPECT_NE(tree.out.find("System (system)\n└─ Host-studio \"studio\" (host)"), std::string::npos)
        << tree.out;
    EXPECT_NE(tree.out.find("─ Host-studio.memory \"Memory\""), std::string::npos) << tree.out;
    EXPECT_NE(tree.out.find("Kernel = "), std::string::npos) << tree.out;
    EXPECT_EQ(tarnctl({"tree", "nobody"}).exitStatus, 1);
}

TEST_F(MonitoringTest, AFollowerSeesTheHostComeGoAndComeAgain) {
    startGateway();
    startServiceWithHost();
    Process follower(tarnctlCommand({"events", "--follow"}));
    // What happens before it listens it does not see.
    const auto comesAndGoes = [&] {
        startHostMonitor();
        EXPECT_TRUE(eventually(hostIsListed));
        end(hostMonitor);
        EXPECT_TRUE(eventually([] { return !hostIsListed(); }));
        return follower.output().contains("added    Host-studio (host)");
    };
    EXPECT_TRUE(eventually(comesAndGoes, 20s));
    EXPECT_TRUE(follower.output().waitFor("removed  Host-studio (host)"));
    const auto seen = follower.output().all().size();
    startHostMonitor();
    EXPECT_TRUE(follower.output().waitFor("added    Host-studio (host)", seen));
    follower.signal(SIGINT);
    EXPECT_EQ(follower.waitForEnd(20s), Ending::exited(130)) << follower.output().text();
}

TEST_F(MonitoringTest, ATreeThatIsWatchedSurvivesRestartsOfGatewayAndService) {
    startGateway();
    startHostMonitor();
    startServiceWithHost();
    Process watcher(tarnctlCommand({"tree", "--watch", "Host-studio.memory"}));
    EXPECT_TRUE(watcher.output().waitFor("Available: "));
    end(gateway);
    startGateway();
    EXPECT_TRUE(watcher.output().waitFor("the gateway was started again: batches may be lost"));
    auto seen = watcher.output().all().size();
    EXPECT_TRUE(watcher.output().waitFor("Available: ", seen));
    EXPECT_EQ(service().stop(), Ending::exited(0));
    startService();
    // The new service's first tree is the empty one; then the host is found again.
    seen = watcher.output().all().size();
    EXPECT_TRUE(watcher.output().waitFor("Available: ", seen));
    watcher.signal(SIGINT);
    EXPECT_EQ(watcher.waitForEnd(20s), Ending::exited(130)) << watcher.output().text();
}

TEST_F(MonitoringTest, WithoutAGatewayItIsSaidWithinTheTimeout) {
    startServiceWithHost();
    const auto result = tarnctl({"events", "--follow", "--timeout", "0.3"});
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_EQ(result.err,
              "tarnctl: nothing came from ipc:///tmp/events.pub within 0.3 s; is tarnGateway "
              "running?\n");
    EXPECT_LT(result.duration, 5s);
}

TEST_F(MonitoringTest, WithoutAGatewayTheEventsCanBeReceivedInItsPlace) {
    Process receiver(tarnctlCommand({"events", "--bind", "--follow", "--count", "1"}));
    ASSERT_TRUE(eventually([] { return ::access("/tmp/events", F_OK) == 0; }));
    startHostMonitor();
    startServiceWithHost();
    EXPECT_TRUE(receiver.output().waitFor("added    Host-studio (host)"));
    EXPECT_EQ(receiver.waitForEnd(20s), Ending::exited(0)) << receiver.output().text();
}

}  // namespace

}  // namespace tarn::test
