#include "service/devices/protocol/TarnProtocolDeviceController.h"

#include <future>

#include "tests/service/devices/support/ProtocolBed.h"

namespace tarn::service::devices {

using device_tree::DeviceNode;
using std::chrono::seconds;
using tarn::proto::monitoring::ControlRequest;
using tarn::proto::monitoring::DeviceAddEvent;
using tarn::proto::monitoring::DeviceRemoveEvent;
using test::camera;
using test::Event;
using test::FakeDevice;
using testing::ElementsAre;

class TarnProtocolDeviceControllerTest : public test::ProtocolBed {
  protected:
    static constexpr auto ping = Request::PING;
    static constexpr auto description = Request::GET_DESCRIPTION;
};

TEST_F(TarnProtocolDeviceControllerTest, PublishesWhatTheDeviceSaysOfItself) {
    watchLiving();
    const auto event = recorder.waitFor(1).front();
    ASSERT_EQ(event.type(), Event::DEVICE_ADD);
    EXPECT_TRUE(DeviceNode(event.GetExtension(DeviceAddEvent::base).device()) == camera("cam1"));
}

TEST_F(TarnProtocolDeviceControllerTest, NamesTheEndpointInItsLogLines) {
    controller.emplace(device.endpoint(), dependencies());
    EXPECT_EQ(controller->messageHeader(), "TarnProtocolDeviceController on " + device.endpoint());
}

TEST_F(TarnProtocolDeviceControllerTest, ReadsADeviceWithoutAnEventEndpointAgainEverySecond) {
    watchLiving();
    EXPECT_EQ(pause.await(), seconds(1));
    EXPECT_EQ(next(), seconds(1));
    EXPECT_EQ(next(), seconds(1));
    EXPECT_THAT(device.waitForRequests(3), ElementsAre(description, description, description));
}

TEST_F(TarnProtocolDeviceControllerTest, PublishesWhatAPollFindsChanged) {
    watchLiving();
    device.describeAs(camera("cam1", 5));
    next();
    next();
    device.describeAs(DeviceNode("cam1", "other", device_tree::DeviceClass::Host));
    next();
    EXPECT_THAT(events(3),
                ElementsAre(Event::DEVICE_ADD, Event::STATUS_CHANGE, Event::CONFIGURATION_CHANGE));
}

TEST_F(TarnProtocolDeviceControllerTest, PingsADeviceWithAnEventEndpointEvery3Seconds) {
    device.nameEventEndpoint("ipc:///tmp/cam1-events");
    watchLiving();
    EXPECT_EQ(pause.await(), seconds(1));
    EXPECT_EQ(next(), seconds(3));
    EXPECT_EQ(next(), seconds(3));
    EXPECT_THAT(device.waitForRequests(3), ElementsAre(description, ping, ping));
    EXPECT_THAT(listener.listenEndpoints(),
                ElementsAre(socket::SocketEndpoint::FromString("ipc:///tmp/cam1-events")));
}

TEST_F(TarnProtocolDeviceControllerTest, DoesNotReadADeviceAgainThatItPings) {
    device.nameEventEndpoint("ipc:///tmp/cam1-events");
    watchLiving();
    device.describeAs(camera("cam1", 5));
    next();
    next();
    device.die();
    answerWithin = seconds(1);
    controller.reset();
    watch();  // another one, to have an event to wait for
    device.begin();
    next();
    EXPECT_THAT(events(2), ElementsAre(Event::DEVICE_ADD, Event::DEVICE_ADD));
}

TEST_F(TarnProtocolDeviceControllerTest, ConnectsADeviceThatAppearsLater) {
    watch();
    EXPECT_THAT(log.lines(), ElementsAre(testing::StartsWith(line(
                                 "WARN", "Failed connecting to " + device.endpoint() + ": "))));
    EXPECT_EQ(pause.await(), seconds(1));
    EXPECT_EQ(next(), seconds(1));
    device.begin();
    EXPECT_EQ(next(), seconds(1));
    EXPECT_THAT(events(1), ElementsAre(Event::DEVICE_ADD));
    EXPECT_EQ(next(), seconds(1));
    EXPECT_THAT(device.waitForRequests(2), ElementsAre(description, description));
}

TEST_F(TarnProtocolDeviceControllerTest, TreatsABadEndpointAsADeviceThatIsNotWatched) {
    controller.emplace("nonsense", dependencies());
    EXPECT_TRUE(
        log.contains("ERROR TarnProtocolDeviceController on nonsense > "
                     "Error in Device Controller setup: bad endpoint"));
    std::string error;
    EXPECT_FALSE(controller->waitForDeviceStarted());
    EXPECT_FALSE(controller->sendStop(error));
    EXPECT_FALSE(error.empty());
    controller->stop();
}

TEST_F(TarnProtocolDeviceControllerTest, HasStartedASecondAfterTheDeviceDescribedItself) {
    device.begin();
    controller.emplace(device.endpoint(), dependencies());
    auto started =
        std::async(std::launch::async, [this] { return controller->waitForDeviceStarted(); });
    pause.await();
    EXPECT_EQ(started.wait_for(seconds(0)), std::future_status::timeout);
    next();
    EXPECT_TRUE(started.get());
}

TEST_F(TarnProtocolDeviceControllerTest, HasStartedWhenTheDeviceIsConnectedLater) {
    watch();
    auto started =
        std::async(std::launch::async, [this] { return controller->waitForDeviceStarted(); });
    device.begin();
    next();
    next();
    EXPECT_TRUE(started.get());
}

TEST_F(TarnProtocolDeviceControllerTest, HasNotStartedWhenItIsStoppedBefore) {
    watch();
    auto started =
        std::async(std::launch::async, [this] { return controller->waitForDeviceStarted(); });
    controller->stop();
    EXPECT_FALSE(started.get());
}

TEST_F(TarnProtocolDeviceControllerTest, StopsInAPauseAndTwiceAndLeavesTheDeviceInTheTree) {
    watchLiving();
    controller->stop();
    controller->stop();
    controller.reset();
    EXPECT_THAT(events(1), ElementsAre(Event::DEVICE_ADD));
}

TEST_F(TarnProtocolDeviceControllerTest, IsNotHeldUpByAHungDeviceWhenItStops) {
    device.begin();
    device.hold();
    controller.emplace(device.endpoint(), dependencies());
    device.waitForRequests(1);
    const auto begin = std::chrono::steady_clock::now();
    controller->stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, answerWithin / 2);
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST_F(TarnProtocolDeviceControllerTest, WatchesAgainAfterAStop) {
    watchLiving();
    controller->stop();
    device.describeAs(camera("cam1", 5));
    controller->startIsAliveThread();
    pause.await();
    EXPECT_THAT(events(2), ElementsAre(Event::DEVICE_ADD, Event::STATUS_CHANGE));
    next();
    EXPECT_TRUE(controller->waitForDeviceStarted());
}

TEST_F(TarnProtocolDeviceControllerTest, WaitsForASlowAnswer) {
    device.begin();
    device.hold();
    controller.emplace(device.endpoint(), dependencies());
    device.waitForRequests(1);
    device.release();
    EXPECT_EQ(pause.await(), seconds(1));
    EXPECT_THAT(events(1), ElementsAre(Event::DEVICE_ADD));
}

TEST_F(TarnProtocolDeviceControllerTest, TellsTheDeviceToStop) {
    watchLiving();
    std::string error = "from before";
    EXPECT_TRUE(controller->sendStop(error));
    EXPECT_EQ(error, "");
    const auto request = device.lastRequest();
    EXPECT_EQ(request.type(), Request::CONTROL);
    EXPECT_EQ(request.GetExtension(ControlRequest::base).command(), ControlRequest::STOP);
}

TEST_F(TarnProtocolDeviceControllerTest, SaysWhyTheDeviceWasNotToldToStop) {
    answerWithin = seconds(1);
    watchLiving();
    std::string error;
    device.answerWith(FakeDevice::Answer::WrongType);
    EXPECT_FALSE(controller->sendStop(error));
    EXPECT_EQ(error, "Failed sending stop: unexpected reply type");
    device.answerWith(FakeDevice::Answer::Silence);
    EXPECT_FALSE(controller->sendStop(error));
    EXPECT_THAT(error, testing::HasSubstr(device.endpoint()));
    controller->stop();
    EXPECT_FALSE(controller->sendStop(error));
    EXPECT_NE(error, "");
}

TEST_F(TarnProtocolDeviceControllerTest, WaitsASecondForReal) {
    device.begin();
    controller.emplace(device.endpoint(), Controller::Dependencies{listener});
    device.waitForRequests(1);
    const auto begin = std::chrono::steady_clock::now();
    device.waitForRequests(3);
    EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1900));
}

}  // namespace tarn::service::devices
