#include "platform/device_tree/DeviceNode.h"
#include "tests/service/devices/support/DeltacastBed.h"

namespace tarn::service::devices {

using device_tree::DeviceNode;
using device_tree::GlobalStatus;
using std::chrono::milliseconds;
using std::chrono::seconds;
using tarn::proto::monitoring::ConfigurationChangeEvent;
using tarn::proto::monitoring::DeviceToTarnServiceEvent;
using tarn::proto::monitoring::StatusChangeEvent;
using test::FakeDevice;
using testing::ElementsAre;

class DeltacastSupervisionTest : public test::DeltacastBed {
  protected:
    void nameEventEndpoint() { device.nameEventEndpoint("ipc:///tmp/ingest-events"); }

    /// An ingest service with a channel, both well.
    static DeviceNode withChannel() {
        auto node = test::ingestNode("4711");
        node.setGlobalStatus(GlobalStatus(GlobalStatus::Level::Ok, ""));
        auto channel = std::make_shared<DeviceNode>("ingest.channel.0", "Channel 0",
                                                    device_tree::DeviceClass::Capture);
        channel->setGlobalStatus(GlobalStatus(GlobalStatus::Level::Ok, ""));
        std::string error;
        node.addSubDevice(channel, /*replace=*/true, error);
        return node;
    }

    static std::vector<GlobalStatus::Level> levelsOf(const DeviceToTarnServiceEvent& event) {
        std::vector<GlobalStatus::Level> levels;
        for (const auto& change :
             event.GetExtension(StatusChangeEvent::base).global_status_changes()) {
            levels.push_back(GlobalStatus(change.status()).level);
        }
        return levels;
    }

    /// The service and its channel.
    static void expectShownInError(const DeviceToTarnServiceEvent& event,
                                   const std::string& reason) {
        EXPECT_EQ(event.type(), DeviceToTarnServiceEvent::STATUS_CHANGE);
        EXPECT_EQ(levelsOf(event),
                  (std::vector{GlobalStatus::Level::Error, GlobalStatus::Level::Error}));
        EXPECT_EQ(event.GetExtension(StatusChangeEvent::base)
                      .global_status_changes(0)
                      .status()
                      .description(),
                  reason);
    }

    static constexpr auto lost = "Impossible to ping or to poll the Service...";
    static constexpr auto foundAgain = "Changing status from Unreachable to Running";
    static constexpr auto lostAgain = "Changing status from Running to Unreachable";
};

TEST_F(DeltacastSupervisionTest, NamesTheEndpointInItsLogLines) {
    watchLiving();
    EXPECT_EQ(controller->messageHeader(), "DeltacastDeviceController on " + device.endpoint());
}

TEST_F(DeltacastSupervisionTest, TreatsABadEndpointAsAServiceThatIsNotWatched) {
    controller.emplace("nonsense", dependencies());
    EXPECT_TRUE(
        log.contains("ERROR DeltacastDeviceController on nonsense > "
                     "Error in Device Controller setup: bad endpoint"));
    EXPECT_FALSE(controller->pingService());
    std::string error;
    EXPECT_FALSE(controller->sendStop(error));
    EXPECT_EQ(controller->getStatus(), Status::Unreachable);
    controller->stop();
}

TEST_F(DeltacastSupervisionTest, AsksAServiceWithoutAnEventEndpointForItsDescriptionEveryCycle) {
    watchLiving();
    EXPECT_EQ(controller->getStatus(), Status::Running);
    EXPECT_EQ(next(), cycle);
    EXPECT_EQ(next(), cycle);
    EXPECT_THAT(device.waitForRequests(4),
                ElementsAre(description, description, description, description));
    EXPECT_EQ(count("INFO", foundAgain), 1);
}

TEST_F(DeltacastSupervisionTest, PingsAServiceThatNamesAnEventEndpoint) {
    nameEventEndpoint();
    watchLiving();
    next();
    EXPECT_THAT(device.waitForRequests(3), ElementsAre(description, ping, ping));
    EXPECT_THAT(listener.listenEndpoints(),
                ElementsAre(socket::SocketEndpoint::FromString("ipc:///tmp/ingest-events")));
    EXPECT_EQ(controller->getStatus(), Status::Running);
}

TEST_F(DeltacastSupervisionTest, PollsAServiceWhoseEventEndpointIsNone) {
    device.nameEventEndpoint("nonsense");
    watchLiving();
    EXPECT_THAT(device.waitForRequests(2), ElementsAre(description, description));
    EXPECT_TRUE(log.contains("nonsense"));
}

TEST_F(DeltacastSupervisionTest, PublishesWhatTheServiceSaysOfItself) {
    watchLiving();
    device.describeAs(test::ingestNode("4712"));
    next();
    const auto events = recorder.waitFor(2);
    EXPECT_EQ(events[0].type(), DeviceToTarnServiceEvent::DEVICE_ADD);
    EXPECT_EQ(events[1].type(), DeviceToTarnServiceEvent::CONFIGURATION_CHANGE);
    EXPECT_TRUE(*controller->getServiceDeviceTree() == test::ingestNode("4712"));
}

TEST_F(DeltacastSupervisionTest, IsUnreachableWhileNobodyIsThere) {
    watch();
    EXPECT_EQ(controller->getStatus(), Status::Unreachable);
    EXPECT_EQ(controller->getServiceDeviceTree(), nullptr);
    EXPECT_THAT(lines(), ElementsAre(testing::StartsWith("Failed connecting: "),
                                     testing::StartsWith("Failed connecting: ")));
}

TEST_F(DeltacastSupervisionTest, LeavesAServiceUnreachableThatWasNeverDescribed) {
    watch();
    device.begin();
    next();
    next();
    EXPECT_EQ(controller->getStatus(), Status::Unreachable);
    test::DeltacastConfig config;
    std::string error;
    EXPECT_FALSE(controller->getCurrentConfig(config, error));
    EXPECT_EQ(error, "No device");
}

TEST_F(DeltacastSupervisionTest, APingAnsweredWronglyRunsAndIsLostInTheSameCycle) {
    nameEventEndpoint();
    watchLiving();
    device.answerWith(FakeDevice::Answer::WrongType);
    next();
    const auto texts = linesFrom(foundAgain);
    EXPECT_THAT(texts, ElementsAre(foundAgain, "Failed pinging device: unexpected reply type", lost,
                                   lostAgain));
    next();
    EXPECT_EQ(count("INFO", foundAgain), 2);
    EXPECT_EQ(count("INFO", lostAgain), 2);
}

TEST_F(DeltacastSupervisionTest, APollAnsweredWronglyRunsAndIsLostInTheSameCycle) {
    watchLiving();
    device.answerWith(FakeDevice::Answer::WrongType);
    next();
    EXPECT_THAT(
        linesFrom(foundAgain),
        ElementsAre(foundAgain, "Failed polling device: unexpected reply type", lost, lostAgain));
}

TEST_F(DeltacastSupervisionTest, AServiceThatDoesNotAnswerIsLostAndItsDescriptionStays) {
    answerWithin = seconds(1);
    watchLiving();
    device.answerWith(FakeDevice::Answer::Silence);
    next();
    const auto texts = linesFrom(foundAgain);
    ASSERT_THAT(texts, testing::SizeIs(4));
    EXPECT_THAT(texts[1], testing::StartsWith("Failed pinging device: "));
    EXPECT_EQ(texts[2], lost);
    EXPECT_EQ(texts[3], lostAgain);
    std::string error;
    test::DeltacastConfig config;
    EXPECT_TRUE(controller->getCurrentConfig(config, error));
}

TEST_F(DeltacastSupervisionTest, APingThatIsNotAnsweredIsSaidSo) {
    nameEventEndpoint();
    answerWithin = seconds(1);
    watchLiving();
    device.answerWith(FakeDevice::Answer::Silence);
    next();
    EXPECT_THAT(linesFrom(foundAgain)[1], testing::StartsWith("Failed pinging device: "));
}

TEST_F(DeltacastSupervisionTest, AServiceThatAnswersAgainIsDescribedAnew) {
    nameEventEndpoint();
    watchLiving();
    device.answerWith(FakeDevice::Answer::WrongType);
    next();
    device.answerWith(FakeDevice::Answer::Good);
    device.describeAs(test::ingestNode("4712"));
    next();
    EXPECT_EQ(controller->getDeltacastServicePid(), 4712);
    EXPECT_THAT(device.waitForRequests(5), ElementsAre(description, ping, ping, ping, description));
}

TEST_F(DeltacastSupervisionTest, ASupervisedProcessThatEndsIsNoticedWithoutAsking) {
    watchLiving();
    processes.become(4711, test::FakeProcesses::State::Gone);
    next();
    EXPECT_THAT(
        linesFrom(foundAgain),
        ElementsAre(foundAgain, "KLN-SDI-Ingest-Service with pid 4711 has ended", lostAgain));
    EXPECT_EQ(device.waitForRequests(0).size(), 2U);
}

TEST_F(DeltacastSupervisionTest, OneThatHasEndedIsInErrorInTheTreeAndItsDescriptionStays) {
    device.describeAs(withChannel());
    watchLiving();
    processes.become(4711, test::FakeProcesses::State::Gone);
    next();
    expectShownInError(recorder.waitFor(2)[1], "KLN-SDI-Ingest-Service has ended");
    EXPECT_TRUE(*controller->getServiceDeviceTree() == withChannel());
    EXPECT_EQ(controller->getOutage(), "KLN-SDI-Ingest-Service has ended");
}

TEST_F(DeltacastSupervisionTest, OneThatDoesNotAnswerIsInErrorUntilItDoes) {
    device.describeAs(withChannel());
    watchLiving();
    device.answerWith(FakeDevice::Answer::WrongType);
    next();
    expectShownInError(recorder.waitFor(2)[1], "KLN-SDI-Ingest-Service does not answer");
    device.answerWith(FakeDevice::Answer::Good);
    next();
    EXPECT_EQ(levelsOf(recorder.waitFor(3)[2]),
              (std::vector{GlobalStatus::Level::Ok, GlobalStatus::Level::Ok}));
    EXPECT_TRUE(controller->getOutage().empty());
}

TEST_F(DeltacastSupervisionTest, AnErrorIsToldOnceMoreSinceEventsOfTheDeadMayComeLater) {
    nameEventEndpoint();
    device.describeAs(withChannel());
    watchLiving();
    processes.become(4711, test::FakeProcesses::State::Gone);
    device.die();
    next();
    next();
    next();
    const auto events = recorder.waitFor(3);
    ASSERT_THAT(events, testing::SizeIs(3));
    for (const auto& event : {events[1], events[2]}) {
        EXPECT_EQ(event.type(), DeviceToTarnServiceEvent::CONFIGURATION_CHANGE);
        const auto& shown = event.GetExtension(ConfigurationChangeEvent::base).device();
        EXPECT_EQ(shown.global_status().level(), tarn::proto::monitoring::GlobalStatus::ERROR);
        EXPECT_EQ(shown.properties_size(), static_cast<int>(withChannel().getProperties().size()));
    }
}

TEST_F(DeltacastSupervisionTest, TheEndOfTheProcessCutsTheCycleShort) {
    watchLiving();
    EXPECT_THAT(processes.waits(), testing::Contains(cycle)) << "it waits for that end";
}

TEST_F(DeltacastSupervisionTest, SaysWhyThereIsNoFirstDescription) {
    device.answerWith(FakeDevice::Answer::Refusal);
    watchLiving();
    EXPECT_TRUE(log.has(line("ERROR", "Failed getting properties: no picture")));
    EXPECT_EQ(controller->getStatus(), Status::Unreachable);
}

TEST_F(DeltacastSupervisionTest, SaysThatTheFirstAnswerIsNoDescription) {
    device.answerWith(FakeDevice::Answer::WrongType);
    watchLiving();
    EXPECT_TRUE(log.has(line("ERROR", "Failed getting properties: unexpected reply type")));
}

TEST_F(DeltacastSupervisionTest, SaysThatThereWasNoFirstAnswer) {
    answerWithin = seconds(1);
    device.answerWith(FakeDevice::Answer::Silence);
    watchLiving();
    EXPECT_TRUE(log.contains(line("ERROR", "Failed getting properties: Deltacast request socket")));
}

TEST_F(DeltacastSupervisionTest, APollThatIsRefusedKeepsTheDescription) {
    watchLiving();
    device.answerWith(FakeDevice::Answer::Refusal);
    next();
    EXPECT_TRUE(log.has(line("ERROR", "Failed polling device: no picture")));
    EXPECT_EQ(controller->getDeltacastServicePid(), 4711);
}

TEST_F(DeltacastSupervisionTest, ReadsTheProcessIdFromTheDescription) {
    watchLiving();
    EXPECT_EQ(controller->getDeltacastServicePid(), 4711);
}

TEST_F(DeltacastSupervisionTest, HasNoProcessIdWithoutADescription) {
    watch();
    EXPECT_EQ(controller->getDeltacastServicePid(), 0);
    EXPECT_TRUE(log.has(line("WARN", "Failed reading PID in properties: there is none")));
}

TEST_F(DeltacastSupervisionTest, HasNoProcessIdInADescriptionWithoutOne) {
    device.describeAs(DeviceNode("ingest", "ingest", device_tree::DeviceClass::Capture));
    watchLiving();
    EXPECT_EQ(controller->getDeltacastServicePid(), 0);
    EXPECT_TRUE(log.has(line("WARN", "Failed reading PID in properties: there is none")));
}

TEST_F(DeltacastSupervisionTest, TakesNothingForAProcessIdThatIsNone) {
    for (const std::string text : {"", "abc", "12x", "1.5", "-1", "0", "1", "99999999999"}) {
        device.describeAs(test::ingestNode(text));
        if (!controller) {
            watchLiving();
        } else {
            next();
        }
        EXPECT_EQ(controller->getDeltacastServicePid(), 0) << text;
        EXPECT_TRUE(log.has(
            line("WARN", "Failed reading PID in properties: \"" + text + "\" is no process id")));
    }
}

TEST_F(DeltacastSupervisionTest, SaysWhenAnotherThreadDoesItsWork) {
    watchLiving();
    controller->stop();
    EXPECT_FALSE(log.contains("PROPER THREAD"));
    controller->disconnectFromService();
    EXPECT_TRUE(log.has(line("ERROR", "THIS FUNCTION IS NOT CALLED IN THE PROPER THREAD!")));
}

TEST_F(DeltacastSupervisionTest, IsUnreachableOnceItIsStopped) {
    watchLiving();
    controller->stop();
    controller->stop();
    EXPECT_EQ(controller->getStatus(), Status::Unreachable);
    EXPECT_EQ(linesFrom(foundAgain).back(), lostAgain);
}

TEST_F(DeltacastSupervisionTest, IsNotHeldUpByAHungServiceWhenItStops) {
    device.begin();
    device.hold();
    controller.emplace(device.endpoint(), dependencies());
    device.waitForRequests(1);
    const auto begin = std::chrono::steady_clock::now();
    controller->stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, answerWithin / 2);
    EXPECT_THAT(lines(), testing::IsEmpty());
}

}  // namespace tarn::service::devices
