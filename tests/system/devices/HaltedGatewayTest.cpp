#include <signal.h>
#include <unistd.h>

#include <thread>

#include "tests/support/Eventually.h"
#include "tests/system/devices/GatewayFollower.h"
#include "tests/system/harness/SystemTest.h"

// A gateway that takes nothing for longer than the service's queue lasts.
namespace tarn::test {

namespace {

using namespace std::chrono_literals;

constexpr auto lostBatch = "Internal Event Emitter > Failed sending events on ";

class HaltedGatewayTest : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        gateway = std::make_unique<Process>(std::vector<std::string>{gatewayProgram});
        ASSERT_TRUE(gateway->output().waitFor("Gateway > started"));
    }

    void TearDown() override {
        devices.clear();
        for (const auto& path : sockets) {
            ::unlink(path.c_str());
        }
        if (service().isRunning()) {
            EXPECT_EQ(service().stop(), Ending::exited(0));
        }
        gateway->signal(SIGTERM);
        EXPECT_EQ(gateway->waitForEnd(10s), Ending::exited(0)) << gateway->output().text();
        SystemTest::TearDown();
    }

    Process& startDevice(const std::string& id, std::vector<std::string> options) {
        const auto path = "/tmp/device-" + id;
        sections += "<TarnProtocolDevice type=\"Generic\"><MonitoringInterface>ipc://" + path +
                    "</MonitoringInterface></TarnProtocolDevice>\n";
        sockets.insert(sockets.end(), {path, path + "-events"});
        options.insert(options.begin(),
                       {TARN_MISBEHAVING_DEVICE, "--id", id, "--endpoint", "ipc://" + path,
                        "--event-endpoint", "ipc://" + path + "-events"});
        return *devices.emplace_back(std::make_unique<Process>(options));
    }

    /// 10,000 nodes, in devices whose descriptions are not too large.
    void startLargeDevices() {
        for (const auto* id : {"large1", "large2", "large3", "large4"}) {
            startDevice(id, {"--nodes", "2500"});
        }
    }

    Devices whatTheServiceSays() { return devicesOfTheService(api()); }

    std::string sections;
    std::unique_ptr<Process> gateway;
    std::vector<std::unique_ptr<Process>> devices;
    std::vector<std::string> sockets;
};

TEST_F(HaltedGatewayTest, LeavesNoFollowerWithAnOldTree) {
    startLargeDevices();
    auto& changing = startDevice("changing", {"--seed", "7", "--changes", "23"});
    configureSections(sections);
    startService();
    const GatewayFollower follower(publishedEvents);
    ASSERT_TRUE(eventually([&] { return follower.devices().size() == 5; }, 20s));

    const auto before = changing.output().all().size();
    gateway->signal(SIGSTOP);
    // The last change is among what is lost, and nothing changes afterwards.
    ASSERT_TRUE(changing.output().waitFor("DONE", before, 60s));
    ASSERT_TRUE(service().waitForLogAfter(service().logLength(), lostBatch));
    gateway->signal(SIGCONT);

    EXPECT_TRUE(eventually([&] { return follower.devices() == whatTheServiceSays(); }, 20s));
    const auto said = whatTheServiceSays();
    EXPECT_EQ(said.size(), 5U);
    EXPECT_EQ(follower.devices(), said);
    EXPECT_EQ(follower.problems(), std::vector<std::string>());
    const GatewayFollower newcomer(publishedEvents);
    EXPECT_TRUE(newcomer.waitForBatchAfter(0));
    EXPECT_EQ(newcomer.devices(), said);
}

}  // namespace

}  // namespace tarn::test
