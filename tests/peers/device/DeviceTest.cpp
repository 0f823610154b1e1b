#include "peers/device/Device.h"

#include <gtest/gtest.h>

#include "tests/peers/device/FakeChannel.h"
#include "tests/support/LogCapture.h"

namespace tarn::peers {
namespace {

using namespace tarn::test;
using tarn::proto::monitoring::ConfigurationChangeEvent;
using tarn::proto::monitoring::ControlRequest;
using tarn::proto::monitoring::GetDescriptionReply;
using tarn::proto::monitoring::GlobalStatus;

NodePointer largeNode(std::size_t bytes) {
    auto node = makeNode(1);
    node->addProperty(
        {"padding", tarn::device_tree::Property::Type::Text, std::string(bytes, 'x')});
    return node;
}

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

TEST_F(DeviceTest, SaysOfItselfThatItIsLargerThanTheServiceTakes) {
    const LogCapture log;
    device.update(largeNode(600'000), now);
    for (int n = 0; n < 2; ++n) {
        const auto reply = ask(device, Device::Request::GET_DESCRIPTION);
        const auto& shown = reply.GetExtension(GetDescriptionReply::base).device();
        EXPECT_EQ(shown.id(), "box");
        EXPECT_EQ(shown.global_status().level(), GlobalStatus::ERROR);
        EXPECT_EQ(shown.global_status().description(),
                  "Refused: description of more than 524288 bytes");
        EXPECT_LT(reply.ByteSizeLong(), 1000U);
    }
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(DeviceTest, TellsByAnEventWhatIsTooLargeForADescriptionAlone) {
    device.update(largeNode(600'000), now);
    ask(device, Device::Request::GET_DESCRIPTION);
    ask(device, Device::Request::PING);
    const auto events = channel->takeSent();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(tarn::device_tree::DeviceNode(
                  events[0].GetExtension(ConfigurationChangeEvent::base).device()),
              *largeNode(600'000));
}

TEST_F(DeviceTest, IsComparedWithWhatWasToldWhenItIsFitAgain) {
    device.update(largeNode(9'000'000), now);
    ask(device, Device::Request::GET_DESCRIPTION);
    ask(device, Device::Request::PING);
    const auto refused = channel->takeSent();
    ASSERT_EQ(refused.size(), 1U);  // its reason is another one than the description's
    EXPECT_LT(refused[0].ByteSizeLong(), 1000U);
    device.update(makeNode(3), now);
    const auto events = channel->takeSent();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(tarn::device_tree::DeviceNode(
                  events[0].GetExtension(ConfigurationChangeEvent::base).device()),
              *makeNode(3));
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
