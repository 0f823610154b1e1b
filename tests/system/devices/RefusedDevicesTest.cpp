// Devices that are too much for the tree, or ask too much of the service.
#include <signal.h>
#include <unistd.h>

#include <filesystem>

#include "platform/socket/Socket.h"
#include "proto/monitoring.pb.h"
#include "tests/support/Eventually.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

using proto::api_service::ApiToServiceRequest;
using proto::api_service::ServiceToApiReplyGetMonitoringInfo;
using proto::monitoring::DeviceNode;
using proto::monitoring::GlobalStatus;

constexpr auto odd = "ipc:///tmp/odd-device";
constexpr auto fine = "ipc:///tmp/fine-device";
constexpr auto oddEvents = "ipc:///tmp/odd-device-events";

class RefusedDevicesTest : public SystemTest {
  protected:
    void TearDown() override {
        devices.clear();
        std::filesystem::remove("/tmp/odd-device");
        std::filesystem::remove("/tmp/fine-device");
        SystemTest::TearDown();
        std::filesystem::remove("/tmp/odd-device-events");
    }

    Process& startDevice(const char* endpoint, const std::vector<std::string>& options) {
        std::vector<std::string> command = {TARN_MISBEHAVING_DEVICE, "--endpoint", endpoint,
                                            "--print-requests"};
        command.insert(command.end(), options.begin(), options.end());
        devices.push_back(std::make_unique<Process>(command));
        EXPECT_TRUE(devices.back()->output().waitFor("READY"));
        return *devices.back();
    }

    void startServiceWith(const std::vector<std::string>& endpoints) {
        std::string sections;
        for (const auto& endpoint : endpoints) {
            sections += "<TarnProtocolDevice type=\"Generic\"><MonitoringInterface>" + endpoint +
                        "</MonitoringInterface></TarnProtocolDevice>\n";
        }
        configureSections(sections);
        startService();
    }

    DeviceNode tree() {
        const auto reply = api().ask(requestOfType(ApiToServiceRequest::GET_MONITORING_INFO));
        EXPECT_TRUE(reply) << "nobody can read the tree";
        return reply ? reply->GetExtension(ServiceToApiReplyGetMonitoringInfo::base).device_tree()
                     : DeviceNode();
    }

    /// As the tree shows it: its id, its parts and what is wrong; empty when it is not there.
    std::string shown(const std::string& id) {
        const auto root = tree();
        for (const auto& device : root.sub_devices()) {
            if (device.id() == id) {
                return "parts: " + std::to_string(device.sub_devices_size()) + " " +
                       device.global_status().description();
            }
        }
        return {};
    }

    void expectShown(const std::string& id, const std::string& as) {
        EXPECT_TRUE(eventually([&] { return shown(id) == as; })) << shown(id);
    }

    std::size_t refusals() { return service().log().count(" is refused: "); }

    static constexpr auto tooDeep = "parts: 0 Refused: more than 64 levels deep";

    std::vector<std::unique_ptr<Process>> devices;
};

TEST_F(RefusedDevicesTest, OneThatIsTooDeepIsInErrorAndEverybodyCanReadTheTree) {
    const auto& device = startDevice(odd, {"--id", "odd", "--levels", "97", "--fit-after", "6"});
    startDevice(fine, {"--id", "fine", "--nodes", "3"});
    startServiceWith({odd, fine});
    expectShown("odd", tooDeep);
    expectShown("fine", "parts: 2 ");
    EXPECT_TRUE(eventually([&] { return device.output().count("REQUEST GET_DESCRIPTION") >= 4; }));
    EXPECT_EQ(refusals(), 1U);
    EXPECT_TRUE(service().log().contains("Device odd is refused: more than 64 levels deep"));
    expectShown("odd", "parts: 0 ");
}

TEST_F(RefusedDevicesTest, OneThatIsTooLargeIsInError) {
    startDevice(odd, {"--id", "odd", "--bytes", "30000000"});
    startServiceWith({odd});
    expectShown("odd", "parts: 0 Refused: description of more than 524288 bytes");
    EXPECT_EQ(refusals(), 1U);
}

TEST_F(RefusedDevicesTest, AnEventThatIsTooDeepIsNoDifferenceThatIsLostForEver) {
    startDevice(odd, {"--id", "odd", "--nodes", "3", "--event-endpoint", oddEvents,
                      "--event-levels", "97", "--interval", "3600000"});
    startServiceWith({odd});
    expectShown("odd", tooDeep);
    expectShown("odd", "parts: 2 ");
    EXPECT_EQ(refusals(), 1U);
}

TEST_F(RefusedDevicesTest, AnEventThatIsTooLargeIsNoDifferenceThatIsLostForEver) {
    startDevice(odd, {"--id", "odd", "--nodes", "3", "--event-endpoint", oddEvents, "--event-bytes",
                      "12000000", "--interval", "3600000"});
    startServiceWith({odd});
    expectShown("odd", "parts: 0 Refused: event of more than 8388608 bytes");
    expectShown("odd", "parts: 2 ");
    EXPECT_TRUE(
        service().log().contains("Device odd is refused: event of more than 8388608 bytes"));
}

TEST_F(RefusedDevicesTest, OneThatGoesLeavesThePartOfItsIdInAnotherDevice) {
    const auto& leaving = startDevice(odd, {"--id", "fine.1"});
    startDevice(fine, {"--id", "fine", "--nodes", "2"});
    startServiceWith({odd, fine});
    expectShown("fine", "parts: 1 ");
    expectShown("fine.1", "parts: 0 ");
    leaving.signal(SIGKILL);
    expectShown("fine.1", "");
    EXPECT_EQ(shown("fine"), "parts: 1 ");
}

TEST_F(RefusedDevicesTest, OneThatNamesAPortOrAFileElsewhereIsPolled) {
    const auto& first = startDevice(odd, {"--event-endpoint", "tcp://*:4444"});
    const auto& second = startDevice(fine, {"--event-endpoint", "ipc:///run/x", "--id", "second"});
    startServiceWith({odd, fine});
    for (const auto* device : {&first, &second}) {
        EXPECT_TRUE(
            eventually([&] { return device->output().count("REQUEST GET_DESCRIPTION") >= 3; }));
        EXPECT_EQ(device->output().count("REQUEST PING"), 0U);
    }
    EXPECT_TRUE(
        service().log().contains("The device is polled, its event endpoint "
                                 "\"tcp://*:4444\" is not listened to: the device is not "
                                 "reached over TCP"));
    EXPECT_TRUE(service().log().contains("\"ipc:///run/x\" is not listened to: "));
    EXPECT_FALSE(std::filesystem::exists("/run/x"));
    socket::Socket caller("caller", socket::ClosePolicy::Discard);
    EXPECT_THROW(
        caller.createAndConnect(socket::Protocol::Push,
                                socket::SocketEndpoint::FromString("tcp://127.0.0.1:4444"), 500),
        std::runtime_error);
}

TEST_F(RefusedDevicesTest, TheEventEndpointOfOneThatIsGoneIsNotListenedToAnyMore) {
    const auto& device = startDevice(odd, {"--id", "odd", "--event-endpoint", oddEvents});
    startServiceWith({odd});
    ASSERT_TRUE(device.output().waitFor("REQUEST PING"));
    EXPECT_TRUE(std::filesystem::exists("/tmp/odd-device-events"));
    device.signal(SIGKILL);
    EXPECT_TRUE(eventually([] { return !std::filesystem::exists("/tmp/odd-device-events"); }));
    std::filesystem::remove("/tmp/odd-device");
    startDevice(odd, {"--id", "odd", "--event-endpoint", oddEvents});
    EXPECT_TRUE(eventually([] { return std::filesystem::exists("/tmp/odd-device-events"); }));
}

}  // namespace

}  // namespace tarn::test
