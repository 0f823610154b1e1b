// Where the service listens because a device says so.
#include "service/devices/protocol/EventEndpointRules.h"
#include "service/devices/protocol/NamedEventEndpoint.h"
#include "tests/service/devices/support/DeltacastBed.h"
#include "tests/service/devices/support/ProtocolBed.h"

namespace tarn::service::devices {

using socket::SocketEndpoint;
using std::chrono::seconds;
using test::Event;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<SocketEndpoint> endpoints(const std::vector<std::string>& texts) {
    std::vector<SocketEndpoint> result;
    for (const auto& text : texts) {
        result.push_back(SocketEndpoint::FromString(text));
    }
    return result;
}

}  // namespace

class EventEndpointRulesTest : public testing::Test {
  protected:
    std::string objectionTo(const std::string& named,
                            const std::string& device = "ipc:///tmp/device") const {
        return rules.objectionTo(SocketEndpoint::FromString(named),
                                 SocketEndpoint::FromString(device));
    }

    const EventEndpointRules rules{
        endpoints({"ipc:///tmp/requests", "ipc:///run/tarn/events", "tcp://*:20100"})};
    static constexpr auto overTcp = "tcp://10.0.0.7:7000";
};

TEST_F(EventEndpointRulesTest, ASocketFileIsInAFolderOfTheServicesOwn) {
    EXPECT_EQ(objectionTo("ipc:///tmp/events-of-cam1"), "");
    EXPECT_EQ(objectionTo("ipc:///run/tarn/events-of-cam1"), "");
    EXPECT_EQ(objectionTo("ipc:///tmp/events-of-cam1", overTcp), "");
}

TEST_F(EventEndpointRulesTest, ASocketFileIsNowhereElse) {
    for (const std::string named :
         {"ipc:///etc/cron.d/job", "ipc:///tmp/sub/events", "ipc:///tmp/../etc/cron.d/job",
          "ipc:///run/events", "ipc:///run/tarn/sub/events", "ipc:///run/tarn/../x", "ipc:///x"}) {
        EXPECT_EQ(objectionTo(named), "the service has no sockets in that folder") << named;
    }
}

TEST_F(EventEndpointRulesTest, WithoutSocketFilesOfItsOwnTheFolderIsThatOfTheJobs) {
    const EventEndpointRules overTcpAlone(endpoints({"tcp://*:20100"}));
    const auto device = SocketEndpoint::FromString("ipc:///tmp/device");
    EXPECT_EQ(overTcpAlone.objectionTo(SocketEndpoint::FromString("ipc:///tmp/e"), device), "");
    EXPECT_NE(overTcpAlone.objectionTo(SocketEndpoint::FromString("ipc:///run/tarn/e"), device),
              "");
}

TEST_F(EventEndpointRulesTest, APortIsForADeviceThatIsReachedOverTcp) {
    EXPECT_EQ(objectionTo("tcp://*:4444"), "the device is not reached over TCP");
    EXPECT_EQ(objectionTo("tcp://127.0.0.1:4444"), "the device is not reached over TCP");
    EXPECT_EQ(objectionTo("tcp://127.0.0.1:4444", overTcp), "");
}

TEST_F(EventEndpointRulesTest, WhatIsTheServicesOwnIsNoDevices) {
    EXPECT_EQ(objectionTo("ipc:///tmp/requests"), "it is the service's own");
    EXPECT_EQ(objectionTo("tcp://127.0.0.1:20100", overTcp), "it is the service's own");
}

TEST_F(EventEndpointRulesTest, NothingInsideTheProcessIsADevices) {
    EXPECT_EQ(objectionTo("inproc://DeviceEventListener"), "it is inside a process");
}

TEST_F(EventEndpointRulesTest, TheServicesOwnEndpointsAreThoseOfItsConfiguration) {
    const test::ServiceBed bed(
        "<Endpoints><RequestsEndpoint>ipc:///run/tarn/requests</RequestsEndpoint>"
        "<EventsEndpoint>ipc:///run/batches/events</EventsEndpoint></Endpoints>");
    const auto configured = EventEndpointRules::of(bed.configuration);
    const auto device = SocketEndpoint::FromString("ipc:///tmp/device");
    EXPECT_EQ(configured.objectionTo(SocketEndpoint::FromString("ipc:///run/tarn/e"), device), "");
    EXPECT_EQ(configured.objectionTo(SocketEndpoint::FromString("ipc:///run/batches/e"), device),
              "");
    for (const auto& own :
         {std::string("ipc:///run/tarn/requests"), std::string("ipc:///run/batches/events"),
          bed.configuration.getResourcesEndpoint()}) {
        EXPECT_EQ(configured.objectionTo(SocketEndpoint::FromString(own), device),
                  "it is the service's own")
            << own;
    }
}

class NamedEventEndpointsTest : public test::ProtocolBed {
  protected:
    static constexpr auto first = "ipc:///tmp/cam1-events";
    static constexpr auto second = "ipc:///tmp/cam2-events";

    void expectPolledWithALine(const std::string& named, const std::string& objection) {
        device.nameEventEndpoint(named);
        watchLiving();
        EXPECT_EQ(next(), seconds(1));
        EXPECT_THAT(device.waitForRequests(2),
                    ElementsAre(Request::GET_DESCRIPTION, Request::GET_DESCRIPTION));
        EXPECT_THAT(listener.listenEndpoints(), IsEmpty());
        EXPECT_THAT(events(1), ElementsAre(Event::DEVICE_ADD));
        EXPECT_THAT(log.lines(),
                    ElementsAre(line("WARN", "The device is polled, its event endpoint \"" + named +
                                                 "\" is not listened to: " + objection)));
    }
};

TEST_F(NamedEventEndpointsTest, ADeviceThatNamesAPortIsPolled) {
    expectPolledWithALine("tcp://*:4444", "the device is not reached over TCP");
}

TEST_F(NamedEventEndpointsTest, ADeviceThatNamesAFileElsewhereIsPolled) {
    expectPolledWithALine("ipc:///etc/cron.d/job", "the service has no sockets in that folder");
}

TEST_F(NamedEventEndpointsTest, IsReleasedWhenTheDeviceIsLost) {
    device.nameEventEndpoint(first);
    watchLiving();
    EXPECT_THAT(listener.listenEndpoints(), ElementsAre(SocketEndpoint::FromString(first)));
    device.answerWith(test::FakeDevice::Answer::WrongType);
    next();
    EXPECT_THAT(listener.listenEndpoints(), IsEmpty());
    device.nameEventEndpoint(second);
    device.answerWith(test::FakeDevice::Answer::Good);
    next();
    EXPECT_THAT(listener.listenEndpoints(), ElementsAre(SocketEndpoint::FromString(second)));
    controller->stop();
    EXPECT_THAT(listener.listenEndpoints(), IsEmpty());
}

TEST_F(NamedEventEndpointsTest, StaysAsLongAsAnotherDeviceNamesIt) {
    NamedEventEndpoint one(listener);
    NamedEventEndpoint other(listener);
    std::string error;
    EXPECT_TRUE(one.name(first, error));
    EXPECT_TRUE(other.name(first, error));
    EXPECT_TRUE(one.name(second, error));
    EXPECT_THAT(listener.listenEndpoints(),
                ElementsAre(SocketEndpoint::FromString(first), SocketEndpoint::FromString(second)));
    other.release();
    other.release();
    EXPECT_THAT(listener.listenEndpoints(), ElementsAre(SocketEndpoint::FromString(second)));
}

TEST_F(NamedEventEndpointsTest, IsNoneWhenItCannotBeListenedTo) {
    NamedEventEndpoint one(listener);
    std::string error;
    EXPECT_TRUE(one.name(first, error));
    EXPECT_FALSE(one.name("nonsense", error));
    EXPECT_NE(error, "");
    EXPECT_FALSE(one.isNamed());
    EXPECT_THAT(listener.listenEndpoints(), IsEmpty());
}

class IngestEventEndpointsTest : public test::DeltacastBed {};

TEST_F(IngestEventEndpointsTest, AServiceThatNamesWhatItMayNotIsPolledWithALine) {
    device.nameEventEndpoint("ipc:///etc/cron.d/job");
    watchLiving();
    next();
    EXPECT_THAT(listener.listenEndpoints(), IsEmpty());
    EXPECT_EQ(controller->getStatus(), Status::Running);
    EXPECT_EQ(count("ERROR",
                    "The service is polled, its event endpoint \"ipc:///etc/cron.d/job\" "
                    "is not listened to: the service has no sockets in that folder"),
              1);
}

TEST_F(IngestEventEndpointsTest, IsReleasedWhenTheControllerEnds) {
    device.nameEventEndpoint("ipc:///tmp/ingest-events");
    watchLiving();
    EXPECT_THAT(listener.listenEndpoints(), testing::SizeIs(1));
    controller->stop();
    EXPECT_THAT(listener.listenEndpoints(), IsEmpty());
}

}  // namespace tarn::service::devices
