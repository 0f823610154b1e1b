// What becomes of a device that misbehaves.
#include "tests/service/devices/support/ProtocolBed.h"

namespace tarn::service::devices {

using std::chrono::milliseconds;
using std::chrono::seconds;
using tarn::proto::monitoring::DeviceRemoveEvent;
using test::camera;
using test::Event;
using test::FakeDevice;
using testing::ElementsAre;

class DeviceFailuresTest : public test::ProtocolBed {
  protected:
    static constexpr auto ping = Request::PING;
    static constexpr auto description = Request::GET_DESCRIPTION;

    void watchPinged() {
        device.nameEventEndpoint("ipc:///tmp/cam1-events");
        watchLiving();
    }

    void expectWithdrawn() {
        EXPECT_THAT(events(2), ElementsAre(Event::DEVICE_ADD, Event::DEVICE_REMOVE));
        EXPECT_EQ(recorder.waitFor(2)[1].GetExtension(DeviceRemoveEvent::base).device_id(), "cam1");
    }

    void expectBackAtTheNextConnection() {
        device.answerWith(FakeDevice::Answer::Good);
        EXPECT_EQ(next(), seconds(1));
        EXPECT_THAT(events(3),
                    ElementsAre(Event::DEVICE_ADD, Event::DEVICE_REMOVE, Event::DEVICE_ADD));
    }
};

TEST_F(DeviceFailuresTest, AWrongReplyToTheFirstDescriptionCountsAsALostConnection) {
    device.answerWith(FakeDevice::Answer::WrongType);
    watchLiving();
    EXPECT_THAT(log.lines(),
                ElementsAre(line("ERROR", "Failed getting properties: unexpected reply type")));
    device.answerWith(FakeDevice::Answer::Good);
    EXPECT_EQ(next(), seconds(1));
    EXPECT_THAT(events(1), ElementsAre(Event::DEVICE_ADD));
}

TEST_F(DeviceFailuresTest, AWrongReplyToAPollWithdrawsTheDevice) {
    watchLiving();
    device.answerWith(FakeDevice::Answer::WrongType);
    EXPECT_EQ(next(), seconds(1));
    expectWithdrawn();
    EXPECT_THAT(log.lines(),
                ElementsAre(line("ERROR", "Failed getting properties: unexpected reply type")));
    expectBackAtTheNextConnection();
}

TEST_F(DeviceFailuresTest, AWrongReplyToAPingWithdrawsTheDevice) {
    watchPinged();
    device.answerWith(FakeDevice::Answer::WrongType);
    EXPECT_EQ(next(), seconds(3));
    expectWithdrawn();
    EXPECT_THAT(log.lines(),
                ElementsAre(line("ERROR", "Failed getting properties: unexpected reply type")));
    expectBackAtTheNextConnection();
    EXPECT_THAT(device.waitForRequests(3), ElementsAre(description, ping, description));
}

TEST_F(DeviceFailuresTest, ADeviceThatReportsAFailureIsWithdrawnWithItsOwnText) {
    watchLiving();
    device.answerWith(FakeDevice::Answer::Refusal);
    EXPECT_EQ(next(), seconds(1));
    expectWithdrawn();
    EXPECT_THAT(log.lines(), ElementsAre(line("ERROR", "Failed getting properties: no picture")));
    expectBackAtTheNextConnection();
}

TEST_F(DeviceFailuresTest, OnlyTheTypeOfAPingsReplyCounts) {
    watchPinged();
    device.answerWith(FakeDevice::Answer::Refusal);
    EXPECT_EQ(next(), seconds(3));
    EXPECT_EQ(next(), seconds(3));
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST_F(DeviceFailuresTest, SilenceAtAPollWithdrawsTheDeviceUntilItAnswersAgain) {
    answerWithin = seconds(1);
    watchLiving();
    device.answerWith(FakeDevice::Answer::Silence);
    EXPECT_EQ(next(), seconds(1));
    expectWithdrawn();
    EXPECT_TRUE(log.contains(line("ERROR", "Failed pinging device: ")));
    expectBackAtTheNextConnection();
}

TEST_F(DeviceFailuresTest, SilenceAtAPingWithdrawsTheDeviceUntilItAnswersAgain) {
    answerWithin = seconds(1);
    watchPinged();
    device.answerWith(FakeDevice::Answer::Silence);
    EXPECT_EQ(next(), seconds(3));
    expectWithdrawn();
    EXPECT_TRUE(log.contains(line("ERROR", "Failed pinging device: ")));
    expectBackAtTheNextConnection();
}

TEST_F(DeviceFailuresTest, SilenceAtTheFirstDescriptionIsTriedAgainAfterASecond) {
    answerWithin = seconds(1);
    device.answerWith(FakeDevice::Answer::Silence);
    watchLiving();
    EXPECT_TRUE(log.contains(line("ERROR", "Failed pinging device: ")));
    device.answerWith(FakeDevice::Answer::Good);
    EXPECT_EQ(next(), seconds(1));
    EXPECT_THAT(events(1), ElementsAre(Event::DEVICE_ADD));
}

TEST_F(DeviceFailuresTest, ADeviceThatDiesIsWithdrawnAndComesBack) {
    answerWithin = seconds(1);
    watchLiving();
    device.die();
    EXPECT_EQ(next(), seconds(1));
    expectWithdrawn();
    EXPECT_EQ(next(), seconds(1));
    EXPECT_TRUE(log.contains(line("WARN", "Failed connecting to " + device.endpoint() + ": ")));
    device.begin();
    expectBackAtTheNextConnection();
}

TEST_F(DeviceFailuresTest, ALateAnswerIsNotTakenForThatToALaterQuestion) {
    answerWithin = seconds(1);
    watchLiving();
    device.hold();
    next();
    expectWithdrawn();
    device.release();
    expectBackAtTheNextConnection();
}

TEST_F(DeviceFailuresTest, AnEventEndpointThatCannotBeListenedToMakesTheDeviceAbsent) {
    device.nameEventEndpoint("tcp://nowhere");
    watchLiving();
    std::string error;
    EXPECT_FALSE(listener.addListenEndpoint("tcp://nowhere", error));
    EXPECT_THAT(log.lines(), ElementsAre(line("ERROR", error)));
    device.nameEventEndpoint("");
    EXPECT_EQ(next(), seconds(1));
    EXPECT_THAT(events(1), ElementsAre(Event::DEVICE_ADD));
}

TEST_F(DeviceFailuresTest, ADeviceThatComesBackUnderAnotherIdLeavesNothingBehind) {
    watchLiving();
    device.describeAs(camera("cam2"));
    next();
    EXPECT_THAT(events(3), ElementsAre(Event::DEVICE_ADD, Event::DEVICE_REMOVE, Event::DEVICE_ADD));
}

namespace {

class Starter : public TarnProtocolDeviceController {
  public:
    Starter(const std::string& endpoint, Dependencies dependencies, bool canStart)
        : TarnProtocolDeviceController(endpoint, std::move(dependencies), StartLater()),
          canStart(canStart) {
        startIsAliveThread();
    }
    ~Starter() override { stopIsAliveThread(); }

    bool startService(std::string& error) override {
        ++attempts;
        error = "no program";
        return canStart;
    }

    std::atomic<int> attempts = 0;

  private:
    const bool canStart;
};

}  // namespace

TEST_F(DeviceFailuresTest, AServiceThatCannotBeStartedEndsTheWaitForIt) {
    Starter starter(device.endpoint(), dependencies(), /*canStart=*/false);
    next();
    EXPECT_FALSE(starter.waitForDeviceStarted());
    EXPECT_TRUE(log.has(line("ERROR", "Attempt to start service failed: no program")));
    device.begin();
    next();
    next();
    EXPECT_TRUE(starter.waitForDeviceStarted());
    EXPECT_EQ(starter.attempts, 1);
}

TEST_F(DeviceFailuresTest, AServiceThatWasStartedIsWaitedFor) {
    Starter starter(device.endpoint(), dependencies(), /*canStart=*/true);
    pause.await();
    device.begin();
    next();
    next();
    EXPECT_TRUE(starter.waitForDeviceStarted());
    EXPECT_FALSE(log.contains("Attempt to start service failed"));
    EXPECT_EQ(starter.attempts, 1);
}

TEST_F(DeviceFailuresTest, NothingIsStartedForADeviceThatIsThere) {
    device.begin();
    Starter starter(device.endpoint(), dependencies(), /*canStart=*/true);
    next();
    EXPECT_EQ(starter.attempts, 0);
}

}  // namespace tarn::service::devices
