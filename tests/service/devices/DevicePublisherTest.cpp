#include "service/devices/DevicePublisher.h"

#include <gmock/gmock.h>

#include "tests/service/devices/support/DeviceMessages.h"
#include "tests/support/LogCapture.h"

namespace tarn::service::devices {

using device_tree::DeviceNode;
using test::camera;
using test::Event;
using testing::ElementsAre;
using testing::IsEmpty;

class DevicePublisherTest : public testing::Test {
  protected:
    static std::shared_ptr<DeviceNode> shared(const DeviceNode& node) {
        return std::make_shared<DeviceNode>(node);
    }

    const test::LogCapture log;
    bool reachable = true;
    std::vector<Event::Type> sent;
    Event last;
    DevicePublisher publisher{[this](const Event* event) {
        if (reachable) {
            sent.push_back(event->type());
            last = *event;
        }
        return reachable;
    }};
};

TEST_F(DevicePublisherTest, SendsWhatHasChanged) {
    publisher.updateDeviceTree(shared(camera("cam1", 1)));
    publisher.updateDeviceTree(shared(camera("cam1", 2)));
    publisher.updateDeviceTree(shared(DeviceNode("cam1", "other", device_tree::DeviceClass::Host)));
    publisher.updateDeviceTree(nullptr);
    EXPECT_THAT(sent, ElementsAre(Event::DEVICE_ADD, Event::STATUS_CHANGE,
                                  Event::CONFIGURATION_CHANGE, Event::DEVICE_REMOVE));
}

TEST_F(DevicePublisherTest, SendsNothingForAnEqualNodeButKeepsIt) {
    const auto equal = shared(camera("cam1"));
    publisher.updateDeviceTree(shared(camera("cam1")));
    publisher.updateDeviceTree(equal);
    EXPECT_THAT(sent, ElementsAre(Event::DEVICE_ADD));
    EXPECT_GT(equal.use_count(), 1);
}

TEST_F(DevicePublisherTest, SendsNothingForADeviceThatStaysAbsent) {
    publisher.updateDeviceTree(nullptr);
    EXPECT_THAT(sent, IsEmpty());
}

TEST_F(DevicePublisherTest, SendsWhatWasLostWithTheNextPublication) {
    publisher.updateDeviceTree(shared(camera("cam1", 1)));
    reachable = false;
    publisher.updateDeviceTree(shared(camera("cam1", 2)));
    reachable = true;
    publisher.updateDeviceTree(shared(camera("cam1", 2)));
    EXPECT_THAT(sent, ElementsAre(Event::DEVICE_ADD, Event::STATUS_CHANGE));
}

TEST_F(DevicePublisherTest, NeverTellsOfADeviceThatCameAndWentWhileNothingCouldBeSent) {
    reachable = false;
    publisher.updateDeviceTree(shared(camera("cam1")));
    publisher.updateDeviceTree(nullptr);
    reachable = true;
    publisher.sendWhatIsLeft();
    EXPECT_THAT(sent, IsEmpty());
}

TEST_F(DevicePublisherTest, SendsWhatIsLeftOnce) {
    reachable = false;
    publisher.updateDeviceTree(shared(camera("cam1")));
    reachable = true;
    publisher.sendWhatIsLeft();
    publisher.sendWhatIsLeft();
    EXPECT_THAT(sent, ElementsAre(Event::DEVICE_ADD));
}

TEST_F(DevicePublisherTest, RemovesADeviceThatComesBackUnderAnotherId) {
    publisher.updateDeviceTree(shared(camera("cam1")));
    publisher.updateDeviceTree(shared(camera("cam2")));
    EXPECT_THAT(sent, ElementsAre(Event::DEVICE_ADD, Event::DEVICE_REMOVE, Event::DEVICE_ADD));
}

TEST_F(DevicePublisherTest, TellsADeviceThatNobodyCouldTakeAsOneInErrorOnce) {
    const std::vector<std::pair<DeviceNode, std::string>> refused = {
        {test::deepCamera("cam1", 65), "more than 64 levels deep"},
        {test::largeCamera("cam1", 9U << 20U), "event of more than 8388608 bytes"}};
    for (const auto& [node, reason] : refused) {
        sent.clear();
        publisher.updateDeviceTree(shared(node));
        publisher.updateDeviceTree(shared(node));
        publisher.sendWhatIsLeft();
        EXPECT_THAT(sent, ElementsAre(Event::DEVICE_ADD));
        EXPECT_TRUE(
            DeviceNode(last.GetExtension(tarn::proto::monitoring::DeviceAddEvent::base).device()) ==
            test::refusedCamera("cam1", reason));
        EXPECT_TRUE(log.has("ERROR DevicePublisher > Device cam1: Refused: " + reason));
        publisher.updateDeviceTree(nullptr);
    }
    EXPECT_THAT(log.lines(), testing::SizeIs(2));
}

TEST_F(DevicePublisherTest, ComparesWithWhatArrivedWhenTheDeviceIsFitAgain) {
    publisher.updateDeviceTree(shared(camera("cam1", 1)));
    publisher.updateDeviceTree(shared(test::deepCamera("cam1", 65)));
    publisher.updateDeviceTree(shared(camera("cam1", 1)));
    EXPECT_THAT(sent, ElementsAre(Event::DEVICE_ADD, Event::CONFIGURATION_CHANGE,
                                  Event::CONFIGURATION_CHANGE));
}

TEST_F(DevicePublisherTest, TellsAllOfTheDeviceWhenOthersToldOfItToo) {
    publisher.updateDeviceTree(shared(camera("cam1")));
    publisher.tellAllNext();
    publisher.updateDeviceTree(shared(camera("cam1")));
    publisher.updateDeviceTree(shared(camera("cam1")));
    EXPECT_THAT(sent, ElementsAre(Event::DEVICE_ADD, Event::CONFIGURATION_CHANGE));
}

TEST_F(DevicePublisherTest, DoesNotForgetTheOldIdWhenItsRemovalWasLost) {
    publisher.updateDeviceTree(shared(camera("cam1")));
    reachable = false;
    publisher.updateDeviceTree(shared(camera("cam2")));
    reachable = true;
    publisher.sendWhatIsLeft();
    EXPECT_THAT(sent, ElementsAre(Event::DEVICE_ADD, Event::DEVICE_REMOVE, Event::DEVICE_ADD));
}

}  // namespace tarn::service::devices
