#include "peers/device/Device.h"

#include <gtest/gtest.h>

#include "tests/peers/device/FakeChannel.h"
#include "tests/support/LogCapture.h"

namespace tarn::peers {
namespace {

using namespace tarn::test;
using tarn::proto::monitoring::ControlRequest;
using tarn::proto::monitoring::GetDescriptionReply;

struct DeviceTest : testing::Test {
    FakeChannel* channel = new FakeChannel;  // the device's
    Device device{makeNode(1), std::unique_ptr<EventChannel>(channel)};
    Device polled{makeNode(1)};
    Device::Time now{};

    Device::Reply ask(Device& of, Device::Request::Type type) {
        Device::Request request;
        request.set_type(type);
        return of.answer(request, now);
    }

    static Device::Request control(ControlRequest::Command command) {
        Device::Request request;
        request.set_type(Device::Request::CONTROL);
        request.MutableExtension(ControlRequest::base)->set_command(command);
        return request;
    }
};

TEST_F(DeviceTest, AnswersAPing) {
    const auto reply = ask(device, Device::Request::PING);
    EXPECT_EQ(reply.type(), Device::Request::PING);
    EXPECT_TRUE(reply.success());
}

TEST_F(DeviceTest, DescribesItselfAsItIsNow) {
    device.update(makeNodeWithPart(7), now);
    const auto reply = ask(device, Device::Request::GET_DESCRIPTION);
    EXPECT_EQ(reply.type(), Device::Request::GET_DESCRIPTION);
    EXPECT_TRUE(reply.success());
    const auto& description = reply.GetExtension(GetDescriptionReply::base);
    EXPECT_EQ(tarn::device_tree::DeviceNode(description.device()), *makeNodeWithPart(7));
    EXPECT_EQ(description.event_endpoint(), "ipc:///tmp/some-events");
}

TEST_F(DeviceTest, WithoutEventsItNamesNoEndpoint) {
    polled.update(makeNode(2), now);
    const auto reply = ask(polled, Device::Request::GET_DESCRIPTION);
    EXPECT_FALSE(reply.GetExtension(GetDescriptionReply::base).has_event_endpoint());
    EXPECT_EQ(reply.GetExtension(GetDescriptionReply::base).device().statuses(0).signed_value(), 2);
    polled.end();
}

TEST_F(DeviceTest, TellsOfAChangeThatWaitedAtThePing) {
    ask(device, Device::Request::GET_DESCRIPTION);
    device.update(makeNode(2), now);
    EXPECT_TRUE(channel->takeSent().empty());
    ask(device, Device::Request::PING);
    EXPECT_EQ(channel->takeSent().size(), 1U);
}

TEST_F(DeviceTest, StopsWhenToldTo) {
    EXPECT_FALSE(device.isAskedToStop());
    const auto reply = device.answer(control(ControlRequest::STOP), now);
    EXPECT_EQ(reply.type(), Device::Request::CONTROL);
    EXPECT_TRUE(reply.success());
    EXPECT_TRUE(device.isAskedToStop());
}

TEST_F(DeviceTest, RefusesAnUnknownCommand) {
    const auto reply = device.answer(control(ControlRequest::UNKNOWN), now);
    EXPECT_EQ(reply.type(), Device::Request::CONTROL);
    EXPECT_FALSE(reply.success());
    EXPECT_EQ(reply.error_message(), "Unknown command");
    EXPECT_FALSE(device.isAskedToStop());
}

TEST_F(DeviceTest, RefusesATypeThatItDoesNotKnowWithThatType) {
    Device::Request request;
    request.ParseFromString("\x08\x03");  // type 3
    const auto reply = device.answer(request, now);
    EXPECT_FALSE(reply.success());
    EXPECT_EQ(reply.error_message(), "Unknown type of request");
    EXPECT_NE(reply.SerializeAsString().find("\x08\x03"), std::string::npos);
}

TEST_F(DeviceTest, RefusesARequestWithoutAType) {
    const auto reply = device.answer(Device::Request(), now);
    EXPECT_FALSE(reply.success());
    EXPECT_FALSE(reply.has_type());
}

TEST_F(DeviceTest, SaysWhenTheDescriptionIsLargerThanTheServiceTakes) {
    const LogCapture log;
    auto large = std::make_shared<tarn::device_tree::DeviceNode>(
        "box", std::string(600'000, 'x'), tarn::device_tree::DeviceClass::Generic);
    device.update(large, now);
    ask(device, Device::Request::GET_DESCRIPTION);
    EXPECT_TRUE(log.contains("larger than the service takes"));
}

TEST_F(DeviceTest, TellsWhoKnowsItThatItGoes) {
    ask(device, Device::Request::GET_DESCRIPTION);
    device.end();
    const auto events = channel->takeSent();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].type(), FakeChannel::Event::SHUTDOWN);
}

}  // namespace
}  // namespace tarn::peers
