// Descriptions that nobody could read in a tree are kept out of it.
#include "platform/device_tree/DeviceNode.h"
#include "tests/service/devices/support/DeltacastBed.h"
#include "tests/service/devices/support/ProtocolBed.h"

namespace tarn::service::devices {

using device_tree::DeviceNode;
using std::chrono::seconds;
using tarn::proto::monitoring::ConfigurationChangeEvent;
using tarn::proto::monitoring::DeviceAddEvent;
using test::camera;
using test::deepCamera;
using test::Event;
using test::largeCamera;
using test::refusedCamera;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr auto tooDeep = "more than 64 levels deep";
constexpr auto tooLarge = "description of more than 524288 bytes";

DeviceNode deviceOf(const Event& event) {
    return event.type() == Event::DEVICE_ADD
               ? DeviceNode(event.GetExtension(DeviceAddEvent::base).device())
               : DeviceNode(event.GetExtension(ConfigurationChangeEvent::base).device());
}

}  // namespace

class RefusedDescriptionsTest : public test::ProtocolBed {
  protected:
    DeviceNode toldAs(std::size_t number) { return deviceOf(recorder.waitFor(number).back()); }
};

TEST_F(RefusedDescriptionsTest, ADeviceThatIsTooDeepIsInErrorSaidOnceAndAskedAgainEverySecond) {
    device.describeAs(deepCamera("cam1", 97));
    watchLiving();
    EXPECT_EQ(next(), seconds(1));
    EXPECT_EQ(next(), seconds(1));
    EXPECT_THAT(device.waitForRequests(3), Contains(Request::GET_DESCRIPTION).Times(3));
    EXPECT_TRUE(toldAs(1) == refusedCamera("cam1", tooDeep));
    EXPECT_THAT(log.lines(),
                ElementsAre(line("ERROR", "Device cam1 is refused: " + std::string(tooDeep))));
    EXPECT_TRUE(controller->waitForDeviceStarted());

    device.describeAs(camera("cam1", 4));
    next();
    EXPECT_THAT(events(2), ElementsAre(Event::DEVICE_ADD, Event::CONFIGURATION_CHANGE));
    EXPECT_TRUE(toldAs(2) == camera("cam1", 4));
}

TEST_F(RefusedDescriptionsTest, ADeviceThatIsTooLargeIsInErrorWhateverItsSize) {
    device.describeAs(largeCamera("cam1", 524288));
    watchLiving();
    EXPECT_TRUE(toldAs(1) == refusedCamera("cam1", tooLarge));
    device.describeAs(largeCamera("cam1", 20U << 20U));
    next();
    device.describeAs(camera("cam1"));
    next();
    EXPECT_THAT(events(2), ElementsAre(Event::DEVICE_ADD, Event::CONFIGURATION_CHANGE));
}

TEST_F(RefusedDescriptionsTest, APolledDeviceThatBecomesTooDeepIsInErrorUntilItIsNot) {
    watchLiving();
    device.describeAs(deepCamera("cam1", 65));
    next();
    next();
    EXPECT_TRUE(toldAs(2) == refusedCamera("cam1", tooDeep));
    device.describeAs(camera("cam1"));
    next();
    EXPECT_TRUE(toldAs(3) == camera("cam1"));
}

TEST_F(RefusedDescriptionsTest, ARefusedDeviceIsNotListenedToUntilItIsLetIn) {
    device.describeAs(deepCamera("cam1", 65));
    device.nameEventEndpoint("ipc:///tmp/cam1-events");
    watchLiving();
    next();
    EXPECT_THAT(listener.listenEndpoints(), IsEmpty());
    device.describeAs(camera("cam1"));
    EXPECT_EQ(next(), seconds(1));
    EXPECT_EQ(next(), seconds(3));
    EXPECT_THAT(listener.listenEndpoints(), testing::SizeIs(1));
}

TEST_F(RefusedDescriptionsTest, ARefusedDeviceThatDiesLeavesTheTree) {
    answerWithin = seconds(1);
    device.describeAs(deepCamera("cam1", 65));
    watchLiving();
    device.die();
    next();
    EXPECT_THAT(events(2), ElementsAre(Event::DEVICE_ADD, Event::DEVICE_REMOVE));
}

class RefusedIngestDescriptionsTest : public test::DeltacastBed {
  protected:
    DeviceNode tooDeepIngest() const {
        auto node = test::ingestNode("4711");
        std::string error;
        node.addSubDevice(std::make_shared<DeviceNode>(deepCamera("part", 64)), /*replace=*/false,
                          error);
        return node;
    }
    DeviceNode toldAs(std::size_t number) { return deviceOf(recorder.waitFor(number).back()); }
};

TEST_F(RefusedIngestDescriptionsTest, AServiceThatBecomesTooDeepRunsAndIsInErrorUntilItIsNot) {
    watchLiving();
    device.describeAs(tooDeepIngest());
    next();
    next();
    EXPECT_EQ(controller->getStatus(), Status::Running);
    const auto shown = toldAs(2);
    EXPECT_EQ(shown.getGlobalStatus().description, std::string("Refused: ") + tooDeep);
    EXPECT_EQ(shown.size(), 1U);
    EXPECT_TRUE(*controller->getServiceDeviceTree() == test::ingestNode("4711"));
    const auto refusal = "Device " + shown.getId() + " is refused: " + tooDeep;
    EXPECT_EQ(count("ERROR", refusal), 1);

    device.describeAs(test::ingestNode("4712"));
    next();
    EXPECT_TRUE(toldAs(3) == test::ingestNode("4712"));
    EXPECT_TRUE(*controller->getServiceDeviceTree() == test::ingestNode("4712"));
}

TEST_F(RefusedIngestDescriptionsTest, AServiceThatIsTooDeepAtFirstIsAskedAgain) {
    device.describeAs(tooDeepIngest());
    watchLiving();
    next();
    EXPECT_EQ(toldAs(1).getGlobalStatus().level, device_tree::GlobalStatus::Level::Error);
    device.describeAs(test::ingestNode("4711"));
    next();
    next();
    EXPECT_TRUE(toldAs(2) == test::ingestNode("4711"));
    EXPECT_EQ(controller->getStatus(), Status::Running);
}

TEST_F(RefusedIngestDescriptionsTest, APingedServiceIsPolledWhileItIsRefusedAndPingedAfterwards) {
    device.nameEventEndpoint("ipc:///tmp/ingest-events");
    device.describeAs(tooDeepIngest());
    watchLiving();
    EXPECT_THAT(listener.listenEndpoints(), IsEmpty());
    device.describeAs(test::ingestNode("4711"));
    next();
    next();
    EXPECT_THAT(listener.listenEndpoints(), testing::SizeIs(1));
}

// Its events went past the controller: an equal description says nothing of what the tree holds.
TEST_F(RefusedIngestDescriptionsTest, APingedServiceThatIsDescribedAgainIsToldInFull) {
    device.nameEventEndpoint("ipc:///tmp/ingest-events");
    watchLiving();
    device.answerWith(test::FakeDevice::Answer::WrongType);
    next();
    device.answerWith(test::FakeDevice::Answer::Good);
    next();
    next();
    EXPECT_EQ(recorder.waitFor(2)[1].type(), Event::CONFIGURATION_CHANGE);
    EXPECT_TRUE(toldAs(2) == test::ingestNode("4711"));
}

}  // namespace tarn::service::devices
