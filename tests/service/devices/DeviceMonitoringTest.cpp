// Devices, their controllers, the listener, the manager and the emitter together.
#include <gmock/gmock.h>

#include "service/devices/DeviceController.h"
#include "tests/service/devices/support/DeviceMessages.h"
#include "tests/service/devices/support/FakeDevice.h"
#include "tests/service/devices/support/MonitoringBed.h"

namespace tarn::service::devices {

using test::camera;
using test::FakeDevice;
using testing::ElementsAre;
using testing::IsEmpty;

class DeviceMonitoringTest : public testing::Test {
  protected:
    void start() { bed.emplace(std::vector<std::string>{device.endpoint(), other.endpoint()}); }

    void startWithEventEndpoint() {
        device.nameEventEndpoint(eventEndpoint);
        device.begin();
        start();
        EXPECT_THAT(bed->awaitDevices(1), ElementsAre(camera("cam1")));
    }

    /// The sending end that the device connects.
    std::unique_ptr<socket::Socket> connectEvents() const {
        auto events = std::make_unique<socket::Socket>("device", socket::ClosePolicy::Flush);
        events->createAndConnect(socket::Protocol::Push,
                                 socket::SocketEndpoint::FromString(eventEndpoint), 5000);
        return events;
    }

    const std::string eventEndpoint = test::uniqueEndpoint();
    FakeDevice device{camera("cam1")};
    FakeDevice other{camera("cam2")};
    std::optional<test::MonitoringBed> bed;
};

TEST_F(DeviceMonitoringTest, EveryConfiguredDeviceAppearsAndLeaves) {
    device.begin();
    other.begin();
    start();
    EXPECT_THAT(bed->awaitDevices(2), ElementsAre(camera("cam1"), camera("cam2")));
    device.die();
    EXPECT_THAT(bed->awaitDevices(1), ElementsAre(camera("cam2")));
    device.begin();
    EXPECT_THAT(bed->awaitDevices(2), ElementsAre(camera("cam1"), camera("cam2")));
}

TEST_F(DeviceMonitoringTest, AnEventThatTheDeviceSendsChangesTheTree) {
    startWithEventEndpoint();
    const auto events = connectEvents();
    const auto change = test::framesEvent("cam1", 7);
    events->sendProtoBuf(&change);
    bed->awaitTree(
        [](const auto& tree) { return tree.getSubDevices() == std::vector{camera("cam1", 7)}; });
}

TEST_F(DeviceMonitoringTest, GarbageOnAnEventEndpointIsLoggedAndHarmsNobody) {
    startWithEventEndpoint();
    const auto events = connectEvents();
    proto::monitoring::DeviceToTarnServiceEvent garbage;
    garbage.GetReflection()->MutableUnknownFields(&garbage)->AddLengthDelimited(100, "\xff");
    events->sendProtoBuf(&garbage);
    for (const int unknownType : {4, 52}) {
        const auto unknown = test::eventOfType(unknownType);
        events->sendProtoBuf(&unknown);
    }
    const auto change = test::addEvent(camera("sub"));
    events->sendProtoBuf(&change);
    EXPECT_THAT(bed->awaitDevices(2), ElementsAre(camera("cam1"), camera("sub")));
    EXPECT_TRUE(bed->log.contains("ERROR DeviceEventListener > Failed receiving message: "));
}

TEST_F(DeviceMonitoringTest, AnEventEndpointThatSomebodyElseHasKeepsTheDeviceOutUntilItIsFree) {
    std::optional<test::BatchReceiver> inTheWay(eventEndpoint);
    device.nameEventEndpoint(eventEndpoint);
    device.begin();
    start();
    EXPECT_TRUE(bed->log.waitFor("ERROR TarnProtocolDeviceController on " + device.endpoint() +
                                 " > DeviceEventListener"));
    EXPECT_EQ(bed->tree().size(), 1U);
    inTheWay.reset();
    EXPECT_THAT(bed->awaitDevices(1), ElementsAre(camera("cam1")));
}

TEST_F(DeviceMonitoringTest, ADeviceWithTheIdOfAnotherTakesItsPlace) {
    other.describeAs(camera("cam1", 5));
    device.begin();
    start();
    EXPECT_THAT(bed->awaitDevices(1), ElementsAre(camera("cam1")));
    other.begin();
    bed->awaitTree(
        [](const auto& tree) { return tree.getSubDevices() == std::vector{camera("cam1", 5)}; });
}

// It was on its way when the device was given up.
TEST_F(DeviceMonitoringTest, WhatADeviceToldThatIsGoneLeavesTheTree) {
    startWithEventEndpoint();
    device.die();
    EXPECT_THAT(bed->awaitDevices(0), IsEmpty());
    const auto late = test::changeEvent(camera("cam1", 7));
    EXPECT_TRUE(DeviceController::notifyEvent(&late));
    EXPECT_TRUE(bed->log.waitFor("INFO TarnProtocolDeviceController on " + device.endpoint() +
                                 " > Removed what the device told after it was lost"));
    EXPECT_THAT(bed->awaitDevices(0), IsEmpty());
}

TEST_F(DeviceMonitoringTest, ADeviceThatIsLostDoesNotTakeAnotherOfItsIdWithIt) {
    other.describeAs(camera("cam1", 5));
    device.begin();
    start();
    EXPECT_THAT(bed->awaitDevices(1), ElementsAre(camera("cam1")));
    device.die();
    EXPECT_THAT(bed->awaitDevices(0), IsEmpty());
    other.begin();
    EXPECT_THAT(bed->awaitDevices(1), ElementsAre(camera("cam1", 5)));
    // The lost one is looked for several times more.
    const auto tries = [this] {
        const auto lines = bed->log.lines();
        return std::count_if(lines.begin(), lines.end(), [this](const std::string& line) {
            return line.find("Failed connecting to " + device.endpoint()) != std::string::npos;
        });
    };
    for (const auto enough = tries() + 3; tries() < enough;) {
        bed->batches.next();
    }
    EXPECT_THAT(bed->tree().getSubDevices(), ElementsAre(camera("cam1", 5)));
}

TEST_F(DeviceMonitoringTest, ADeviceThatIsLostLeavesThePartOfItsIdInAnotherDevice) {
    auto rack = camera("a rack");
    std::string error;
    rack.addSubDevice(std::make_shared<device_tree::DeviceNode>(camera("cam1", 5)),
                      /*replace=*/false, error);
    other.describeAs(rack);
    device.begin();
    other.begin();
    start();
    EXPECT_THAT(bed->awaitDevices(2), ElementsAre(rack, camera("cam1")));
    device.die();
    EXPECT_THAT(bed->awaitDevices(1), ElementsAre(rack));
    // Nor is that part taken for something that nobody answers for.
    EXPECT_TRUE(bed->log.waitFor("Failed connecting to " + device.endpoint()));
    EXPECT_THAT(bed->tree().getSubDevices(), ElementsAre(rack));
    EXPECT_FALSE(bed->log.contains("Removed what the device told after it was lost"));
}

TEST_F(DeviceMonitoringTest, ADeviceOfWhichAnEventWasRefusedIsInErrorAndThenDescribesItselfAnew) {
    startWithEventEndpoint();
    const auto events = connectEvents();
    device.describeAs(camera("cam1", 9));  // which no event tells
    const auto deep = test::changeEvent(test::deepCamera("cam1", 97));
    events->sendProtoBuf(&deep);
    const auto inError = test::refusedCamera("cam1", "more than 64 levels deep");
    bed->awaitTree([&](const auto& tree) { return tree.getSubDevices() == std::vector{inError}; });
    bed->awaitTree(
        [](const auto& tree) { return tree.getSubDevices() == std::vector{camera("cam1", 9)}; });
    const auto change = test::framesEvent("cam1", 10);
    events->sendProtoBuf(&change);
    bed->awaitTree(
        [](const auto& tree) { return tree.getSubDevices() == std::vector{camera("cam1", 10)}; });
}

TEST_F(DeviceMonitoringTest, TheEventEndpointOfADeviceThatIsLostIsFreeUntilItIsBack) {
    startWithEventEndpoint();
    device.die();
    EXPECT_THAT(bed->awaitDevices(0), IsEmpty());
    { const test::BatchReceiver somebodyElse(eventEndpoint); }
    device.begin();
    EXPECT_THAT(bed->awaitDevices(1), ElementsAre(camera("cam1")));
    const auto events = connectEvents();
    const auto change = test::framesEvent("cam1", 7);
    events->sendProtoBuf(&change);
    bed->awaitTree(
        [](const auto& tree) { return tree.getSubDevices() == std::vector{camera("cam1", 7)}; });
}

TEST_F(DeviceMonitoringTest, BeginsAnewWhenItIsInitialisedAgain) {
    startWithEventEndpoint();
    std::list<std::string> errors;
    EXPECT_TRUE(bed->manager.initFromConfiguration(errors));
    EXPECT_THAT(errors, IsEmpty());
    EXPECT_THAT(bed->awaitDevices(1), ElementsAre(camera("cam1")));
}

TEST_F(DeviceMonitoringTest, HungDevicesDoNotHoldUpTheStop) {
    device.hold();
    other.hold();
    device.begin();
    other.begin();
    start();
    device.waitForRequests(1);
    other.waitForRequests(1);
    const auto begin = std::chrono::steady_clock::now();
    bed->manager.stopControllers();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, test::MonitoringBed::answerWithin);
}

}  // namespace tarn::service::devices
