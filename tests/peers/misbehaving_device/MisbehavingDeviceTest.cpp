#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "platform/socket/Socket.h"
#include "proto/monitoring.pb.h"
#include "tests/peers/support/JobClient.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

// The misbehaving device does what it is told to: otherwise the tests that use it prove nothing.
namespace tarn::test {
namespace {

using namespace tarn::proto::monitoring;
using tarn::socket::SocketEndpoint;
using Request = TarnServiceToDeviceRequest;
using Reply = DeviceToTarnServiceReply;
using Event = DeviceToTarnServiceEvent;

unsigned levelsOf(const DeviceNode& device) {
    unsigned below = 0;
    for (const auto& part : device.sub_devices()) {
        below = std::max(below, levelsOf(part));
    }
    return below + 1;
}

struct MisbehavingDeviceTest : testing::Test {
    TemporaryFolder folder;
    std::string endpoint = "ipc://" + (folder.path() / "device").string();
    std::string events = "ipc://" + (folder.path() / "events").string();
    std::unique_ptr<Process> device;
    tarn::socket::Socket service{"service", tarn::socket::ClosePolicy::Discard};

    void start(std::vector<std::string> options) {
        options.insert(options.begin(),
                       {builtProgram("misbehavingDevice"), "--endpoint", endpoint});
        device = std::make_unique<Process>(options);
        ASSERT_TRUE(device->waitForOut("READY"));
    }

    void listen() {
        service.createAndConnect(tarn::socket::Protocol::Pull, SocketEndpoint::FromString(events),
                                 0);
    }

    Event nextEvent() {
        Event event;
        service.receiveProtoBuf(&event, 1U << 20U);
        return event;
    }

    Reply ask(Request::Type type) const {
        Request request;
        request.set_type(type);
        Reply reply;
        tarn::test::ask(endpoint, request, reply);
        return reply;
    }

    DeviceNode describe() const {
        return ask(Request::GET_DESCRIPTION).GetExtension(GetDescriptionReply::base).device();
    }
};

TEST_F(MisbehavingDeviceTest, BehavesWellUnlessToldOtherwise) {
    start({"--id", "box"});
    EXPECT_EQ(describe().id(), "box");
    EXPECT_EQ(ask(Request::PING).type(), Request::PING);
    device->signal(SIGTERM);
    EXPECT_EQ(device->wait().exitStatus, 0);
}

TEST_F(MisbehavingDeviceTest, IsAsDeepAndAsLargeAsWishedUntilItIsFit) {
    start({"--id", "box", "--levels", "65", "--bytes", "100000", "--fit-after", "2",
           "--good-replies", "1"});
    EXPECT_EQ(levelsOf(describe()), 1U);
    const auto odd = describe();
    EXPECT_EQ(levelsOf(odd), 65U);
    EXPECT_GT(odd.ByteSizeLong(), 100000U);
    EXPECT_EQ(levelsOf(describe()), 1U);
}

TEST_F(MisbehavingDeviceTest, SendsAnEventThatIsTooDeepAndTooLarge) {
    listen();
    start({"--event-endpoint", events, "--id", "box", "--event-levels", "70", "--event-bytes",
           "200000", "--interval", "3600000"});
    ask(Request::PING);  // it sends between requests
    const auto event = nextEvent();
    ASSERT_EQ(event.type(), Event::CONFIGURATION_CHANGE);
    const auto& sent = event.GetExtension(ConfigurationChangeEvent::base).device();
    EXPECT_EQ(sent.id(), "box");
    EXPECT_EQ(levelsOf(sent), 70U);
    EXPECT_GT(sent.ByteSizeLong(), 200000U);
}

TEST_F(MisbehavingDeviceTest, RepliesWithTheWrongTypeAfterSomeGoodOnes) {
    start({"--replies", "wrong-type", "--good-replies", "1"});
    EXPECT_EQ(ask(Request::PING).type(), Request::PING);
    EXPECT_NE(ask(Request::PING).type(), Request::PING);
    EXPECT_NE(ask(Request::GET_DESCRIPTION).type(), Request::GET_DESCRIPTION);
}

TEST_F(MisbehavingDeviceTest, AnswersWithAFailure) {
    start({"--replies", "failure"});
    const auto reply = ask(Request::GET_DESCRIPTION);
    EXPECT_FALSE(reply.success());
    EXPECT_EQ(reply.error_message(), "The device is not well");
}

TEST_F(MisbehavingDeviceTest, AnswersWithGarbage) {
    start({"--replies", "garbage"});
    EXPECT_THROW(ask(Request::PING), std::runtime_error);
}

TEST_F(MisbehavingDeviceTest, IsSilent) {
    start({"--replies", "silence"});
    tarn::socket::Socket client("client", tarn::socket::ClosePolicy::Discard);
    client.createAndConnect(tarn::socket::Protocol::Request, SocketEndpoint::FromString(endpoint),
                            5000);
    Request request;
    request.set_type(Request::PING);
    client.sendProtoBuf(&request);
    std::string error;
    EXPECT_EQ(client.poll(200, error), 1);
}

TEST_F(MisbehavingDeviceTest, IsSlow) {
    start({"--delay", "150"});
    const auto begin = std::chrono::steady_clock::now();
    ask(Request::PING);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(150));
}

TEST_F(MisbehavingDeviceTest, DiesAfterSomeRequests) {
    start({"--dies-after", "1"});
    ask(Request::PING);
    tarn::socket::Socket client("client", tarn::socket::ClosePolicy::Flush);
    client.createAndConnect(tarn::socket::Protocol::Request, SocketEndpoint::FromString(endpoint),
                            5000);
    Request request;
    client.sendProtoBuf(&request);
    EXPECT_EQ(device->wait().signal, SIGKILL);
}

TEST_F(MisbehavingDeviceTest, NamesAnyEventEndpoint) {
    start({"--event-endpoint", "nonsense"});
    EXPECT_EQ(
        ask(Request::GET_DESCRIPTION).GetExtension(GetDescriptionReply::base).event_endpoint(),
        "nonsense");
}

TEST_F(MisbehavingDeviceTest, HasASubtreeOfAnySize) {
    start({"--nodes", "10000"});
    EXPECT_EQ(describe().sub_devices_size(), 9999);
    EXPECT_LT(ask(Request::GET_DESCRIPTION).ByteSizeLong(), 524288U) << "the service takes it";
}

TEST_F(MisbehavingDeviceTest, RepeatsItsIds) {
    start({"--nodes", "3", "--repeat-ids"});
    const auto node = describe();
    ASSERT_EQ(node.sub_devices_size(), 2);
    EXPECT_EQ(node.sub_devices(0).id(), node.id());
    EXPECT_EQ(node.sub_devices(1).id(), node.id());
}

TEST_F(MisbehavingDeviceTest, SendsEventsOfUnknownTypes) {
    listen();
    start({"--event-endpoint", events, "--event-type", "4", "52", "--interval", "10"});
    EXPECT_EQ(nextEvent().unknown_fields().field(0).varint(), 4U);
    EXPECT_EQ(nextEvent().unknown_fields().field(0).varint(), 52U);
}

TEST_F(MisbehavingDeviceTest, SendsGarbage) {
    listen();
    start({"--event-endpoint", events, "--garbage-events", "--interval", "10"});
    EXPECT_THROW(nextEvent(), std::runtime_error);
}

TEST_F(MisbehavingDeviceTest, Floods) {
    listen();
    start({"--event-endpoint", events, "--flood", "10000"});
    for (std::uint64_t i = 0; i < 1000; ++i) {
        const auto event = nextEvent();
        ASSERT_EQ(event.type(), Event::STATUS_CHANGE);
    }
}

TEST_F(MisbehavingDeviceTest, ChangesAtRandomAndPrintsItsStates) {
    listen();
    start({"--event-endpoint", events, "--seed", "5", "--changes", "20", "--interval", "5"});
    describe();
    ask(Request::PING);
    EXPECT_NE(nextEvent().type(), Event::UNKNOWN);
    ASSERT_TRUE(device->waitForOut("DONE"));
    Request stop;
    stop.set_type(Request::CONTROL);
    stop.MutableExtension(ControlRequest::base)->set_command(ControlRequest::STOP);
    Reply reply;
    tarn::test::ask(endpoint, stop, reply);
    const auto result = device->wait();
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_NE(result.out.find("STATE 20 {"), std::string::npos);
}

}  // namespace
}  // namespace tarn::test
