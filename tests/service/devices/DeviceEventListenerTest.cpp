#include "service/devices/DeviceEventListener.h"

#include <gmock/gmock.h>

#include "tests/service/devices/support/DeviceEventsFixture.h"

namespace tarn::service::devices {

using test::camera;
using test::Event;
using testing::ElementsAre;
using testing::HasSubstr;

class DeviceEventListenerTest : public DeviceEventsFixture {
  protected:
    device_tree::DeviceNode tree() { return *bed.devices.getTree().lock(); }
};

TEST_F(DeviceEventListenerTest, ListensInsideTheProcessUnderItsOwnName) {
    const auto endpoint = DeviceEventListener::GetInternalEventEndpoint();
    EXPECT_EQ(static_cast<int>(endpoint.transport()), 1);
    EXPECT_EQ(endpoint.host(), "DeviceEventListener");
    EXPECT_EQ(endpoint.port(), 0);
    EXPECT_EQ(bed.deviceEvents.messageHeader(), "DeviceEventListener");
}

TEST_F(DeviceEventListenerTest, HandsOverEachKindOfEventInOrder) {
    send(test::addEvent(camera("cam1")));
    send(test::addEvent(camera("cam2")));
    send(test::changeEvent(camera("cam1", 5)));
    send(test::framesEvent("cam2", 9));
    send(test::addEvent(camera("cam3")));
    send(test::shutdownEvent("cam3"));
    send(test::addEvent(camera("cam4")));
    send(test::removeEvent("cam4"));
    EXPECT_THAT(settle(),
                ElementsAre("2 cam1 class 2", "2 cam2 class 2", "4 cam1 class 2", "2 cam3 class 2",
                            "3 cam3 class 2", "2 cam4 class 2", "3 cam4 class 2"));
    EXPECT_THAT(tree().getSubDevices(), ElementsAre(camera("cam1", 5), camera("cam2", 9)));
}

TEST_F(DeviceEventListenerTest, HandsOverGlobalStatuses) {
    send(test::addEvent(camera("cam1")));
    Event event;
    event.set_type(Event::STATUS_CHANGE);
    auto& change = *event.MutableExtension(tarn::proto::monitoring::StatusChangeEvent::base)
                        ->add_global_status_changes();
    change.set_device_id("cam1");
    change.mutable_status()->set_level(tarn::proto::monitoring::GlobalStatus::WARNING);
    change.mutable_status()->set_description("dark");
    send(event);
    settle();
    const auto status = tree().getDeviceById("cam1")->getGlobalStatus();
    EXPECT_EQ(status, device_tree::GlobalStatus(device_tree::GlobalStatus::Level::Warning, "dark"));
}

TEST_F(DeviceEventListenerTest, IgnoresEventsOfTypes4And52WithoutALine) {
    const auto linesBefore = bed.log.lines().size();
    send(test::eventOfType(4));
    send(test::eventOfType(52));
    send(Event());
    send(test::addEvent(camera("cam1")));
    EXPECT_THAT(settle(), ElementsAre("2 cam1 class 2"));
    EXPECT_EQ(tree().size(), 2U);
    EXPECT_EQ(bed.log.lines().size(), linesBefore + 1);  // about the end of this test
}

TEST_F(DeviceEventListenerTest, AddsTheEmptyNodeForAnAddedDeviceWithoutADescription) {
    Event event;
    event.set_type(Event::DEVICE_ADD);
    send(event);
    EXPECT_THAT(settle(), ElementsAre("2  class 0"));
    EXPECT_THAT(tree().getSubDevices(),
                ElementsAre(device_tree::DeviceNode(tarn::proto::monitoring::DeviceNode())));
}

TEST_F(DeviceEventListenerTest, IgnoresWhatIsNoEvent) {
    bed.deviceEvents.handleMessage(nullptr, nullptr);
    bed.deviceEvents.handleMessage(
        std::make_shared<tarn::proto::monitoring::DeviceToTarnServiceReply>(), nullptr);
    EXPECT_EQ(tree().size(), 1U);
}

TEST_F(DeviceEventListenerTest, AsksForAnEmptyEventEachTime) {
    const auto message = bed.deviceEvents.getBaseMessage();
    EXPECT_NE(dynamic_cast<Event*>(message.get()), nullptr);
    EXPECT_NE(message, bed.deviceEvents.getBaseMessage());
}

TEST_F(DeviceEventListenerTest, GetsWhatIsSentAfterItWasStartedAgain) {
    send(test::addEvent(camera("cam1")));
    settle();
    std::list<std::string> errors;
    ASSERT_TRUE(bed.devices.initFromConfiguration(errors));
    send(test::addEvent(camera("cam2")));
    EXPECT_THAT(settle(), ElementsAre("2 cam2 class 2"));
    EXPECT_EQ(tree().size(), 2U);
}

TEST_F(DeviceEventListenerTest, RefusesAnEventOfMoreThanTenMebibytesAndGoesOn) {
    auto large = camera("large");
    large.addStatus({"text", std::string(10485760, 'x')});
    send(test::addEvent(large));
    send(test::addEvent(camera("cam1")));
    EXPECT_THAT(settle(), ElementsAre("2 large class 2", "2 cam1 class 2"));
    EXPECT_TRUE(bed.log.contains("ERROR DeviceEventListener > Device large is refused: "));
    ASSERT_TRUE(tree().getDeviceById("large"));
    EXPECT_TRUE(tree().getDeviceById("large")->getStatuses().empty());
}

class EndpointList : public DeviceEventListener {
  public:
    using DeviceEventListener::DeviceEventListener;
    using DeviceEventListener::listenEndpoints;
    using DeviceEventListener::maxMessageSize;
};

TEST(DeviceEventListenerEndpointsTest, HoldTheInternalOneOnceAfterTwoStarts) {
    test::ServiceBed bed;
    EndpointList listener([&bed]() -> DeviceManager& { return bed.devices; });
    std::string error;
    ASSERT_TRUE(listener.start(error)) << error;
    ASSERT_TRUE(listener.start(error)) << error;
    listener.stop(error);
    ASSERT_TRUE(listener.start(error)) << error;
    listener.stop(error);
    EXPECT_THAT(listener.listenEndpoints(),
                ElementsAre(DeviceEventListener::GetInternalEventEndpoint()));
    EXPECT_EQ(listener.maxMessageSize, 10485760U);
}

}  // namespace tarn::service::devices
