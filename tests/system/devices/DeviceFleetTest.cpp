#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <random>

#include "tests/support/Eventually.h"
#include "tests/system/devices/GatewayFollower.h"
#include "tests/system/harness/SystemTest.h"

// Many devices that change, die, hang and come back at random. The suite makes the same run every
// time; TARN_SEED makes another, TARN_FLEET_DEVICES and TARN_FLEET_ACTIONS a larger one.
namespace tarn::test {

namespace {

using namespace std::chrono_literals;

unsigned setting(const char* name, unsigned usual) {
    const char* const text = std::getenv(name);
    return text == nullptr ? usual : static_cast<unsigned>(std::stoul(text));
}

/// One device, and what the tree must hold of it.
class Member {
  public:
    explicit Member(unsigned number)
        : id("device" + std::to_string(number)), polled(number % 2 == 0) {}

    void start(unsigned seed) {
        std::vector<std::string> command = {TARN_MISBEHAVING_DEVICE,
                                            "--endpoint",
                                            endpoint(),
                                            "--id",
                                            id,
                                            "--seed",
                                            std::to_string(seed),
                                            "--changes",
                                            std::to_string(20 + seed % 20),
                                            "--interval",
                                            "100"};
        if (!polled) {
            command.insert(command.end(), {"--event-endpoint", endpoint() + "-events"});
        }
        run = std::make_unique<Process>(command);
        isHalted = false;
    }

    void kill() {
        run->signal(SIGKILL);
        run->waitForEnd(10s);
        run.reset();
    }

    void halt() {
        run->signal(SIGSTOP);
        isHalted = true;
    }

    void goOn() {
        run->signal(SIGCONT);
        isHalted = false;
    }

    bool isRunning() const { return run != nullptr; }
    bool isThere() const { return run != nullptr && !isHalted; }
    bool isOnHold() const { return isHalted; }

    /// Its state once it changes no more.
    std::string finalState() const {
        if (!run->output().waitFor("DONE")) {
            throw std::runtime_error(id + " does not come to rest");
        }
        std::string state;
        for (const auto& line : run->output().all()) {
            if (line.starts_with("STATE ")) {
                state = line.substr(line.find('{'));
            }
        }
        return state;
    }

    std::string endpoint() const { return "ipc:///tmp/fleet-" + id; }
    const std::string id;

  private:
    const bool polled;
    std::unique_ptr<Process> run;
    bool isHalted = false;
};

class DeviceFleetTest : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        std::cout << "seed " << seed << "\n";
        startGateway();
        std::string devices;
        for (unsigned n = 0; n < setting("TARN_FLEET_DEVICES", 20); ++n) {
            auto& member = fleet.emplace_back(std::make_unique<Member>(n));
            devices += "<TarnProtocolDevice type=\"Generic\"><MonitoringInterface>" +
                       member->endpoint() + "</MonitoringInterface></TarnProtocolDevice>\n";
            member->start(anyNumber());
        }
        configureSections(devices);
    }

    void TearDown() override {
        for (auto& member : fleet) {
            if (member->isRunning()) {
                member->kill();
            }
            for (const auto* suffix : {"", "-events"}) {
                ::unlink(("/tmp/fleet-" + member->id + suffix).c_str());
            }
        }
        if (service().isRunning()) {
            EXPECT_EQ(service().stop(), Ending::exited(0));
        }
        gateway->signal(SIGTERM);
        EXPECT_EQ(gateway->waitForEnd(10s), Ending::exited(0));
        SystemTest::TearDown();
    }

    void startGateway() {
        gateway = std::make_unique<Process>(std::vector<std::string>{gatewayProgram});
    }

    unsigned anyNumber() { return static_cast<unsigned>(random()); }

    void disturb(Member& member) {
        switch (random() % 4) {
            case 0:
                return member.isOnHold() ? member.goOn() : member.halt();
            default:
                return member.kill();
        }
    }

    /// Something happens to one of them.
    void act() {
        auto& member = *fleet[random() % fleet.size()];
        if (!member.isRunning()) {
            member.start(anyNumber());
        } else {
            disturb(member);
        }
    }

    Devices whatTheDevicesSay() const {
        Devices said;
        for (const auto& member : fleet) {
            if (member->isThere()) {
                said[member->id] = member->finalState();
            }
        }
        return said;
    }

    Devices whatTheServiceSays() { return devicesOfTheService(api()); }

    const unsigned seed = setting("TARN_SEED", 1);
    std::mt19937 random{seed};
    std::unique_ptr<Process> gateway;
    std::vector<std::unique_ptr<Member>> fleet;
};

void expectEqual(const Devices& actual, const Devices& expected, const std::string& where) {
    for (const auto& [id, state] : expected) {
        const auto found = actual.find(id);
        EXPECT_EQ(found == actual.end() ? "nothing" : found->second, state) << where;
    }
    for (const auto& [id, state] : actual) {
        EXPECT_TRUE(expected.contains(id)) << id << " is too much " << where;
    }
}

TEST_F(DeviceFleetTest, IsSeenAsItIsByTheServiceTheGatewayAndEverySubscriber) {
    startService();
    const GatewayFollower first(publishedEvents);
    const GatewayFollower second(publishedEvents);
    // One that subscribes and never reads.
    socket::Socket slow("Slow", socket::ClosePolicy::Discard);
    slow.createAndConnect(socket::Protocol::Subscribe,
                          socket::SocketEndpoint::FromString(publishedEvents), 0);

    for (unsigned n = 0; n < setting("TARN_FLEET_ACTIONS", 40); ++n) {
        act();
        ASSERT_TRUE(first.waitForBatchAfter(first.batches())) << "after action " << n;
    }

    const auto said = whatTheDevicesSay();
    // A halted device is missed after the next ping, three seconds, and its time-out, five.
    EXPECT_TRUE(eventually([&] { return whatTheServiceSays() == said; }, 30s));
    expectEqual(whatTheServiceSays(), said, "in the service");
    for (const auto* follower : {&first, &second}) {
        EXPECT_TRUE(eventually([&] { return follower->devices() == said; }));
        expectEqual(follower->devices(), said, "at a subscriber");
        EXPECT_EQ(follower->problems(), std::vector<std::string>());
    }
    const GatewayFollower newcomer(publishedEvents);
    EXPECT_TRUE(newcomer.waitForBatchAfter(0));
    expectEqual(newcomer.devices(), said, "at a newcomer");
}

TEST_F(DeviceFleetTest, IsSeenAsItIsAfterTheGatewayAndTheServiceWereKilled) {
    startService();
    const GatewayFollower follower(publishedEvents);
    ASSERT_TRUE(follower.waitForBatchAfter(0));
    gateway->signal(SIGKILL);
    gateway->waitForEnd(10s);
    act();
    startGateway();
    service().killHard();
    act();
    startService();

    const auto said = whatTheDevicesSay();
    EXPECT_TRUE(eventually([&] { return whatTheServiceSays() == said; }, 30s));
    EXPECT_TRUE(eventually([&] { return follower.devices() == said; }));
    expectEqual(follower.devices(), said, "at a subscriber");
}

}  // namespace

}  // namespace tarn::test
