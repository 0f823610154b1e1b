#include <gtest/gtest.h>

#include <memory>

#include "platform/device_tree/DeviceNode.h"
#include "platform/socket/Socket.h"
#include "proto/monitoring.pb.h"
#include "tests/peers/support/JobClient.h"
#include "tests/support/Eventually.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

// The built program, with the test in the service's place.
namespace tarn::test {
namespace {

using namespace tarn::proto::monitoring;
using tarn::socket::ClosePolicy;
using tarn::socket::Protocol;
using tarn::socket::Socket;
using tarn::socket::SocketEndpoint;
using Request = TarnServiceToDeviceRequest;
using Reply = DeviceToTarnServiceReply;
using Event = DeviceToTarnServiceEvent;

struct HostMonitorProgramTest : testing::Test {
    TemporaryFolder folder;
    const std::string endpoint = "ipc://" + (folder.path() / "monitor").string();
    const std::string events = "ipc://" + (folder.path() / "events").string();
    std::unique_ptr<Process> monitor;
    Socket service{"service", ClosePolicy::Discard};

    std::vector<std::string> command(const std::vector<std::string>& options) const {
        std::vector<std::string> words = {builtProgram("tarnHostMonitor"),
                                          "--endpoint",
                                          endpoint,
                                          "--name",
                                          "box",
                                          "--interval",
                                          "0.05"};
        words.insert(words.end(), options.begin(), options.end());
        return words;
    }

    void start(const std::vector<std::string>& options) {
        monitor = std::make_unique<Process>(command(options));
        ASSERT_TRUE(monitor->waitForErr("answers on"));
    }

    void startWithEvents() { start({"--event-endpoint", events}); }

    void listen() {
        service.createAndConnect(Protocol::Pull, SocketEndpoint::FromString(events), 0);
    }

    Event nextEvent() {
        Event event;
        service.receiveProtoBuf(&event, 10U << 20U);
        return event;
    }

    Reply ask(const Request& request) const {
        Reply reply;
        tarn::test::ask(endpoint, request, reply);
        return reply;
    }

    Reply ask(Request::Type type) const {
        Request request;
        request.set_type(type);
        return ask(request);
    }

    GetDescriptionReply describe() const {
        return ask(Request::GET_DESCRIPTION).GetExtension(GetDescriptionReply::base);
    }

    void expectStatusZero() { EXPECT_EQ(monitor->wait().exitStatus, 0); }
};

TEST_F(HostMonitorProgramTest, DescribesThisMachine) {
    startWithEvents();
    const auto description = describe();
    EXPECT_EQ(description.event_endpoint(), events);
    const tarn::device_tree::DeviceNode host(description.device());
    EXPECT_EQ(host.getId(), "Host-box");
    EXPECT_TRUE(host.getDeviceById("Host-box.memory"));
    EXPECT_TRUE(host.getDeviceById("Host-box.processor.0"));
    EXPECT_TRUE(host.getDeviceById("Host-box.network.lo"));
}

TEST_F(HostMonitorProgramTest, SendsChangesOnceItWasAskedAndThatItGoes) {
    startWithEvents();
    describe();
    listen();
    EXPECT_TRUE(ask(Request::PING).success());
    EXPECT_EQ(nextEvent().type(), Event::STATUS_CHANGE);

    monitor->signal(SIGTERM);
    expectStatusZero();
    auto type = Event::UNKNOWN;
    while (type != Event::SHUTDOWN) {
        type = nextEvent().type();
    }
}

TEST_F(HostMonitorProgramTest, SendsNothingBeforeAnybodyKnowsIt) {
    listen();
    startWithEvents();
    std::string error;
    EXPECT_EQ(service.poll(300, error), 1);
    monitor->signal(SIGINT);
    expectStatusZero();
    EXPECT_EQ(service.poll(0, error), 1);
}

TEST_F(HostMonitorProgramTest, PollOnlyNamesNoEventEndpointAndIsAlwaysUpToDate) {
    start({"--poll-only"});
    const auto first = describe();
    EXPECT_FALSE(first.has_event_endpoint());
    EXPECT_TRUE(
        eventually([&] { return describe().SerializeAsString() != first.SerializeAsString(); }));
}

TEST_F(HostMonitorProgramTest, TheStopCommandEndsIt) {
    startWithEvents();
    Request stop;
    stop.set_type(Request::CONTROL);
    stop.MutableExtension(ControlRequest::base)->set_command(ControlRequest::STOP);
    EXPECT_TRUE(ask(stop).success());
    expectStatusZero();
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "monitor")) << "the socket stays behind";
}

TEST_F(HostMonitorProgramTest, BadBytesAreLoggedAndTheNextRequestIsServed) {
    startWithEvents();
    Socket client("client", ClosePolicy::Flush);
    client.createAndConnect(Protocol::Request, SocketEndpoint::FromString(endpoint), 5000);
    Request bad;
    bad.mutable_unknown_fields()->AddLengthDelimited(100, "\xff\xff\xff");
    client.sendProtoBuf(&bad);
    EXPECT_TRUE(monitor->waitForErr("Request not served"));
    EXPECT_TRUE(ask(Request::PING).success());
}

TEST_F(HostMonitorProgramTest, ASecondOneOnTheSameEndpointEndsWithAMessage) {
    startWithEvents();
    const auto second = runProcess(command({"--event-endpoint", events}));
    EXPECT_EQ(second.exitStatus, 1);
    EXPECT_NE(second.err.find("cannot listen on " + endpoint), std::string::npos) << second.err;
    EXPECT_TRUE(ask(Request::PING).success());
}

TEST_F(HostMonitorProgramTest, AnEndpointThatIsNoneEndsItWithAMessage) {
    const auto result = runProcess(command({"--event-endpoint", "nonsense"}));
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_NE(result.err.find("nonsense"), std::string::npos) << result.err;
}

}  // namespace
}  // namespace tarn::test
