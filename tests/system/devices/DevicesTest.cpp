#include <signal.h>
#include <unistd.h>

#include "platform/socket/Socket.h"
#include "proto/service_event.pb.h"
#include "tests/support/Eventually.h"
#include "tests/support/MachineTime.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

using proto::api_service::ApiToServiceRequest;
using proto::api_service::ServiceToApiReplyGetMonitoringInfo;
using proto::service_event::ServiceEvent;
using proto::service_event::ServiceEventBatch;

constexpr auto device = "ipc:///tmp/test-device";

class DevicesTest : public SystemTest {
  protected:
    void TearDown() override {
        events.close();
        SystemTest::TearDown();
    }

    void listen(const std::string& endpoint) {
        events.createAndConnect(socket::Protocol::Pull,
                                socket::SocketEndpoint::FromString(endpoint), 0);
    }

    /// Throws when no batch comes within the bound.
    ServiceEventBatch nextBatch() {
        ServiceEventBatch batch;
        events.receiveProtoBuf(&batch, 1 << 24);
        return batch;
    }

    /// Waits for an event, which comes within the time that the service needs to notice.
    bool awaitEvent(ServiceEvent::Type type) {
        for (int batches = 0; batches < 30; ++batches) {
            const auto batch = nextBatch();
            for (const auto& event : batch.events()) {
                if (event.type() == type) {
                    return true;
                }
            }
        }
        return false;
    }

    void startServiceWithDevice() {
        configureSections(deviceSection(device));
        startService();
    }

    static std::string deviceSection(const std::string& endpoint) {
        return "<TarnProtocolDevice type=\"Generic\"><MonitoringInterface>" + endpoint +
               "</MonitoringInterface></TarnProtocolDevice>\n";
    }

    /// One that prints a line for each request.
    static std::unique_ptr<Process> misbehavingDevice(const std::vector<std::string>& options,
                                                      const std::string& endpoint = device) {
        std::vector<std::string> command = {TARN_MISBEHAVING_DEVICE, "--endpoint", endpoint,
                                            "--print-requests"};
        command.insert(command.end(), options.begin(), options.end());
        auto program = std::make_unique<Process>(command);
        EXPECT_TRUE(program->output().waitFor("READY"));
        return program;
    }

    static std::unique_ptr<Process> startDevice() {
        return std::make_unique<Process>(std::vector<std::string>{hostMonitorProgram, "--endpoint",
                                                                  device, "--event-endpoint",
                                                                  "ipc:///tmp/test-device-events"});
    }

    int devicesInTheTree() {
        const auto reply = api().ask(requestOfType(ApiToServiceRequest::GET_MONITORING_INFO));
        EXPECT_TRUE(reply && reply->success());
        const auto& tree =
            reply->GetExtension(ServiceToApiReplyGetMonitoringInfo::base).device_tree();
        EXPECT_EQ(tree.id(), "System");
        return tree.sub_devices_size();
    }

    socket::Socket events{"events", socket::ClosePolicy::Discard};
};

TEST_F(DevicesTest, AnEmptyBatchIsSentEverySecondWhenNothingHappens) {
    listen("ipc:///tmp/events");
    startService();
    nextBatch();
    // After one that is taken late the next comes early: three pauses together are long enough.
    const auto begin = std::chrono::steady_clock::now();
    for (int n = 0; n < 3; ++n) {
        const auto batch = nextBatch();
        EXPECT_EQ(batch.events_size(), 0);
        EXPECT_FALSE(batch.has_device_tree());
    }
    EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(2200));
    EXPECT_EQ(devicesInTheTree(), 0);
}

TEST_F(DevicesTest, AnEventsEndpointOnEveryInterfaceIsReachedAsThisMachine) {
    configureSections("<Endpoints><EventsEndpoint>tcp://*:20200</EventsEndpoint></Endpoints>");
    listen("tcp://127.0.0.1:20200");
    startService();
    EXPECT_NO_THROW(nextBatch());
    EXPECT_EQ(api().info()->events_endpoint(), "tcp://*:20200");
}

TEST_F(DevicesTest, WithoutAReceiverOfEventsTheServiceSaysSoOnceAndServes) {
    startService();
    EXPECT_TRUE(service().waitForLog(
        "ERROR Internal Event Emitter > Failed creating event emitter socket: "));
    EXPECT_EQ(devicesInTheTree(), 0);
    EXPECT_EQ(service().stop(), Ending::exited(0));
    EXPECT_EQ(service().log().count("Internal Event Emitter"), 1U);
}

TEST_F(DevicesTest, ADeviceThatIsKilledLeavesTheTreeAndComesBack) {
    listen("ipc:///tmp/events");
    auto running = startDevice();
    startServiceWithDevice();
    ASSERT_TRUE(awaitEvent(ServiceEvent::DEVICE_ADDED));
    EXPECT_EQ(devicesInTheTree(), 1);
    running->signal(SIGKILL);
    ASSERT_TRUE(awaitEvent(ServiceEvent::DEVICE_REMOVED));
    EXPECT_EQ(devicesInTheTree(), 0);
    running = startDevice();
    ASSERT_TRUE(awaitEvent(ServiceEvent::DEVICE_ADDED));
    EXPECT_EQ(devicesInTheTree(), 1);
    running->signal(SIGTERM);
    EXPECT_EQ(running->waitForEnd(std::chrono::seconds(20)), Ending::exited(0));
}

TEST_F(DevicesTest, ADeviceThatIsHaltedLeavesTheTreeAndComesBackWhenItGoesOn) {
    listen("ipc:///tmp/events");
    const auto running = startDevice();
    startServiceWithDevice();
    ASSERT_TRUE(awaitEvent(ServiceEvent::DEVICE_ADDED));
    running->signal(SIGSTOP);
    ASSERT_TRUE(awaitEvent(ServiceEvent::DEVICE_REMOVED));
    EXPECT_EQ(devicesInTheTree(), 0);
    running->signal(SIGCONT);
    ASSERT_TRUE(awaitEvent(ServiceEvent::DEVICE_ADDED));
    EXPECT_EQ(devicesInTheTree(), 1);
    running->signal(SIGTERM);
    EXPECT_EQ(running->waitForEnd(std::chrono::seconds(20)), Ending::exited(0));
}

TEST_F(DevicesTest, ADeviceThatTellsItsEventsIsPingedEveryThreeSeconds) {
    const auto running = misbehavingDevice({"--event-endpoint", "ipc:///tmp/test-device-events"});
    startServiceWithDevice();
    ASSERT_TRUE(running->output().waitFor("REQUEST PING"));
    const auto pings = [&] { return running->output().count("REQUEST PING"); };
    const auto begin = std::chrono::steady_clock::now();
    const MachineTime time;
    const auto first = pings();
    ASSERT_TRUE(eventually([&] { return pings() >= first + 2; }, std::chrono::seconds(20)));
    // One that is seen late makes the time to the next but one look shorter.
    EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(4500));
    EXPECT_LT(time.elapsed(), std::chrono::milliseconds(7500));
    running->signal(SIGTERM);
    running->waitForEnd(std::chrono::seconds(20));
}

// One hangs in each step: before its description, at its first poll, at its first ping, in the
// middle of an answer; and one is not there.
TEST_F(DevicesTest, ThatHangAtEveryStepDoNotHoldUpTheShutdown) {
    const std::vector<std::vector<std::string>> hanging = {
        {"--replies", "silence"},
        {"--replies", "silence", "--good-replies", "1"},
        {"--replies", "silence", "--good-replies", "1", "--event-endpoint",
         "ipc:///tmp/test-device2-events"},
        {"--delay", "60000"}};
    std::vector<std::unique_ptr<Process>> devices;
    std::string sections = deviceSection("ipc:///tmp/test-device-away");
    for (std::size_t n = 0; n < hanging.size(); ++n) {
        const auto endpoint = device + std::to_string(n);
        devices.push_back(misbehavingDevice(hanging[n], endpoint));
        sections += deviceSection(endpoint);
    }
    configureSections(sections);
    startService();
    // The second and the third have answered once and got what they do not answer.
    for (const std::size_t n : {1U, 2U}) {
        EXPECT_TRUE(eventually([&] { return devices[n]->output().count("REQUEST") >= 2; }));
    }
    EXPECT_TRUE(devices[0]->output().waitFor("REQUEST"));
    EXPECT_TRUE(devices[3]->output().waitFor("REQUEST"));

    const MachineTime time;
    EXPECT_EQ(service().stop(), Ending::exited(0));
    EXPECT_LT(time.elapsed(), std::chrono::seconds(12));
    for (const auto& running : devices) {
        running->signal(SIGKILL);
        running->waitForEnd(std::chrono::seconds(20));
    }
    for (std::size_t n = 0; n < devices.size(); ++n) {
        ::unlink(("/tmp/test-device" + std::to_string(n)).c_str());
    }
}

TEST_F(DevicesTest, ADeviceThatHangsDoesNotHoldUpTheShutdown) {
    const auto running = startDevice();
    startServiceWithDevice();
    ASSERT_TRUE(eventually([this] { return devicesInTheTree() == 1; }));
    running->signal(SIGSTOP);
    const MachineTime time;
    EXPECT_EQ(service().stop(), Ending::exited(0));
    EXPECT_LT(time.elapsed(), std::chrono::seconds(8));
    EXPECT_TRUE(service().log().contains("Device controllers stopped"));
    running->signal(SIGKILL);
    running->waitForEnd(std::chrono::seconds(20));
    ::unlink("/tmp/test-device");
    ::unlink("/tmp/test-device-events");
}

}  // namespace

}  // namespace tarn::test
