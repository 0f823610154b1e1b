#include <signal.h>
#include <unistd.h>

#include "platform/socket/Socket.h"
#include "proto/service_event.pb.h"
#include "tests/system/Eventually.h"
#include "tests/system/SystemTest.h"

namespace tarn::test {

namespace {

using proto::api_service::ApiToServiceRequest;
using proto::api_service::ServiceToApiReplyGetMonitoringInfo;
using proto::service_event::ServiceEvent;
using proto::service_event::ServiceEventBatch;

constexpr auto hostMonitor = "/opt/halden/halden-tarn-host-monitor/bin/tarnHostMonitor";
constexpr auto device = "ipc:///tmp/test-device";

class Devices : public SystemTest {
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
        configureSections(
            std::string("<TarnProtocolDevice type=\"Generic\"><MonitoringInterface>") + device +
            "</MonitoringInterface></TarnProtocolDevice>");
        startService();
    }

    static std::unique_ptr<Program> startDevice() {
        return std::make_unique<Program>(std::vector<std::string>{hostMonitor, "--endpoint", device,
                                                                  "--event-endpoint",
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

TEST_F(Devices, anEmptyBatchIsSentEverySecondWhenNothingHappens) {
    listen("ipc:///tmp/events");
    startService();
    nextBatch();
    const auto begin = std::chrono::steady_clock::now();
    const auto batch = nextBatch();
    EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(700));
    EXPECT_EQ(batch.events_size(), 0);
    EXPECT_FALSE(batch.has_device_tree());
    EXPECT_EQ(devicesInTheTree(), 0);
}

TEST_F(Devices, anEventsEndpointOnEveryInterfaceIsReachedAsThisMachine) {
    configureSections("<Endpoints><EventsEndpoint>tcp://*:20200</EventsEndpoint></Endpoints>");
    listen("tcp://127.0.0.1:20200");
    startService();
    EXPECT_NO_THROW(nextBatch());
    EXPECT_EQ(api().info()->events_endpoint(), "tcp://*:20200");
}

TEST_F(Devices, withoutAReceiverOfEventsTheServiceSaysSoOnceAndServes) {
    startService();
    EXPECT_TRUE(service().waitForLog(
        "ERROR Internal Event Emitter > Failed creating event emitter socket: "));
    EXPECT_EQ(devicesInTheTree(), 0);
    EXPECT_EQ(service().stop(), Ending::exited(0));
    EXPECT_EQ(service().log().count("Internal Event Emitter"), 1U);
}

TEST_F(Devices, aDeviceThatIsKilledLeavesTheTreeAndComesBack) {
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

TEST_F(Devices, aDeviceThatHangsDoesNotHoldUpTheShutdown) {
    const auto running = startDevice();
    startServiceWithDevice();
    ASSERT_TRUE(eventually([this] { return devicesInTheTree() == 1; }));
    running->signal(SIGSTOP);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(service().stop(), Ending::exited(0));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(8));
    EXPECT_TRUE(service().log().contains("Device controllers stopped"));
    running->signal(SIGKILL);
    running->waitForEnd(std::chrono::seconds(20));
    ::unlink("/tmp/test-device");
    ::unlink("/tmp/test-device-events");
}

}  // namespace

}  // namespace tarn::test
