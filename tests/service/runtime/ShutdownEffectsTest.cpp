#include <gmock/gmock.h>

#include <functional>
#include <utility>

#include "platform/socket/Socket.h"
#include "proto/api_job.pb.h"
#include "proto/api_service.pb.h"
#include "service/api/ApiToServiceRequestHandler.h"
#include "service/devices/DeviceController.h"
#include "service/runtime/shutdown/ShutdownSequence.h"
#include "tests/service/support/BatchReceiver.h"
#include "tests/service/support/ServiceBed.h"
#include "tests/support/peers/FakeSetupPeer.h"

namespace tarn::service {

using namespace std::chrono_literals;
using tarn::proto::api_job::ApiToJobRequest;
using tarn::proto::api_job::JobToApiReply;
using tarn::proto::api_service::ApiToServiceRequest;
using tarn::proto::api_service::ServiceToApiReply;
using testing::ElementsAre;

namespace {

/// Does something at the moment at which a line is logged.
class Onlooker : public utils::LogSink {
  public:
    Onlooker(std::string line, std::function<void()> action)
        : line(std::move(line)), action(std::move(action)) {}
    bool isEnabled(utils::LogLevel) const override { return true; }
    void write(utils::LogLevel, const std::string& message) override {
        if (message == line) {
            action();
        }
    }

  private:
    const std::string line;
    const std::function<void()> action;
};

class Probe : public devices::DeviceController {
  public:
    explicit Probe(std::vector<std::string>& told) : told(told) {}
    ~Probe() override { told.emplace_back("gone"); }
    std::string messageHeader() const override { return "probe"; }
    void stop() override { told.emplace_back("stopped"); }

  private:
    std::vector<std::string>& told;
};

}  // namespace

/// What has come to an end when the shutdown says so.
class ShutdownEffectsTest : public testing::Test {
  protected:
    /// Shuts down and looks when `line` is logged.
    void shutDown(const std::string& line, const std::function<void()>& look) {
        shutDown(bed.devices, line, look);
    }
    void shutDown(devices::DeviceManager& manager, const std::string& line,
                  const std::function<void()>& look) {
        int looks = 0;
        const auto before = utils::setLogSink(std::make_shared<Onlooker>(line, [&] {
            ++looks;
            look();
        }));
        runShutdownSequence(
            2, {bed.deviceEvents, bed.emitter, manager, api, bed.proxy, bed.resourceManager});
        utils::setLogSink(before);
        EXPECT_EQ(looks, 1);
    }

    static void expectFree(socket::Protocol protocol, const socket::SocketEndpoint& endpoint) {
        socket::Socket next("next", socket::ClosePolicy::Discard);
        EXPECT_NO_THROW(next.createAndConnect(protocol, endpoint, 0));
    }

    test::ServiceBed bed{
        "<TarnProtocolDevice><MonitoringInterface>ipc:///tmp/one</MonitoringInterface>"
        "</TarnProtocolDevice>"};
    ApiToServiceRequestHandler api{
        "",
        {bed.workflows, bed.proxy, bed.configuration, bed.devices, bed.shell(),
         std::chrono::steady_clock::now, [] { return std::time_t(0); },
         dictionary::ComponentsDictionary("/nonexistent")}};
};

TEST_F(ShutdownEffectsTest, NoDeviceEventIsListenedForAnyMore) {
    std::string error;
    ASSERT_TRUE(bed.deviceEvents.start(error)) << error;
    shutDown("Device event listener stopped", [] {
        expectFree(socket::Protocol::Pull,
                   devices::DeviceEventListener::GetInternalEventEndpoint());
    });
}

TEST_F(ShutdownEffectsTest, NoBatchIsSentAnyMore) {
    test::BatchReceiver batches;
    bed.emitter.startThread(socket::SocketEndpoint::FromString(batches.endpoint()));
    batches.next();
    shutDown("Event emitter stopped", [&] {
        while (batches.hasMore(200ms)) {  // what was sent before may still be on its way
            batches.next();
        }
        bed.emitter.pushEvent(*bed.devices.getTree().lock(), nullptr, /*notify=*/true);
        EXPECT_FALSE(batches.hasMore(200ms));
    });
}

TEST_F(ShutdownEffectsTest, TheControllersHaveStopped) {
    std::vector<std::string> told;
    devices::DeviceManager manager(
        {bed.configuration, bed.deviceEvents, bed.emitter,
         [&](const configuration::TarnDevice&) { return std::make_shared<Probe>(told); }});
    std::list<std::string> errors;
    ASSERT_TRUE(manager.initFromConfiguration(errors));
    shutDown(manager, "Device controllers stopped",
             [&] { EXPECT_THAT(told, ElementsAre("stopped")); });
}

TEST_F(ShutdownEffectsTest, NoControllerIsLeftToSayAnythingAfterTheLastLine) {
    std::vector<std::string> told;
    devices::DeviceManager manager(
        {bed.configuration, bed.deviceEvents, bed.emitter,
         [&](const configuration::TarnDevice&) { return std::make_shared<Probe>(told); }});
    std::list<std::string> errors;
    ASSERT_TRUE(manager.initFromConfiguration(errors));
    shutDown(manager, "Service terminated",
             [&] { EXPECT_THAT(told, ElementsAre("stopped", "gone")); });
}

TEST_F(ShutdownEffectsTest, NoRequestIsServedAnyMore) {
    const auto endpoint = socket::SocketEndpoint::FromString(test::uniqueEndpoint());
    bed.workflows.init(endpoint, {});
    api.start("TarnService");
    socket::Socket client("client", socket::ClosePolicy::Discard);
    client.createAndConnect(socket::Protocol::Request, endpoint, 5000);
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::GET_INFO);
    ServiceToApiReply reply;
    client.sendProtoBuf(&request);
    client.receiveProtoBuf(&reply, 1 << 20);
    shutDown("Request handler terminated", [&] {
        client.setTimeout(200ms);
        EXPECT_THROW(
            {
                client.sendProtoBuf(&request);
                client.receiveProtoBuf(&reply, 1 << 20);
            },
            std::runtime_error);
    });
}

TEST_F(ShutdownEffectsTest, EveryJobHasItsOrderAndNoneComesInAnyMore) {
    const auto endpoint = test::uniqueEndpoint();
    ApiToJobRequest order;
    JobToApiReply taken;
    taken.set_type(JobToApiReply::DESTROY);
    test::FakeSetupPeer job(endpoint, order, &taken);
    bed.registerJob("one", endpoint);
    shutDown("Running jobs terminated", [&] {
        EXPECT_TRUE(job.gotRequest());
        EXPECT_EQ(order.type(), ApiToJobRequest::DESTROY);
        EXPECT_THROW(bed.registerJob("late", "ipc:///tmp/late"), std::runtime_error);
    });
}

TEST_F(ShutdownEffectsTest, NobodyServesTheRegistryAnyMore) {
    shutDown("Resource manager handler terminated", [&] {
        expectFree(socket::Protocol::Reply,
                   socket::SocketEndpoint::FromString(bed.configuration.getResourcesEndpoint()));
    });
}

}  // namespace tarn::service
