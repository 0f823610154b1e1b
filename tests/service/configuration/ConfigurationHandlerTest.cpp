#include "service/configuration/ConfigurationHandler.h"

#include <stdexcept>

#include "service/configuration/DeltacastServiceConfigurationHandler.h"
#include "service/configuration/LoopStorageConfigurationHandler.h"
#include "tests/service/configuration/ConfigurationFixture.h"

namespace tarn::service::configuration {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

const std::string defaultWorkflowLauncher =
    "/opt/halden/halden-tarn-workflow-launcher/bin/tarnWorkflowLauncher";
const std::string defaultEngineLauncher =
    "/opt/halden/halden-tarn-engine-launcher/bin/tarnEngineLauncher";

const std::string deltacastService =
    "<DeltacastService><CommandLine>svc</CommandLine>"
    "<DefaultPixelFormat>rgb24</DefaultPixelFormat>"
    "<DefaultBoard0InputList>0</DefaultBoard0InputList>"
    "<DefaultBoard0InputFrameOffsetList>0</DefaultBoard0InputFrameOffsetList>"
    "<DefaultLineCount>720</DefaultLineCount><DefaultFieldMode>p</DefaultFieldMode>"
    "<DefaultFrameRate>50</DefaultFrameRate></DeltacastService>";

std::string unixStorage(const std::string& address) {
    return "<Storage type=\"LoopStorage\"><InterfaceType>unix</InterfaceType>"
           "<InterfaceAddress>" +
           address + "</InterfaceAddress></Storage>";
}

const std::string everything =
    "<Endpoints><RequestsEndpoint>tcp://*:7000</RequestsEndpoint>"
    "<EventsEndpoint>tcp://*:7001</EventsEndpoint>"
    "<ResourcesEndpoint>tcp://*:7002</ResourcesEndpoint></Endpoints>"
    "<KLN><Plugin>/a.so</Plugin><Plugin>/b.so</Plugin></KLN>"
    "<Resources><TcpPorts interface=\"eth0\" from=\"10\" to=\"20\"/></Resources>"
    "<Paths><WorkflowLauncher>/w</WorkflowLauncher><EngineLauncher>/e</EngineLauncher>"
    "<PersistentJobsFolder>/jobs</PersistentJobsFolder>"
    "<PersistentDeltacastConfigurationFile>/dc</PersistentDeltacastConfigurationFile></Paths>"
    "<TarnProtocolDevice type=\"Deltacast\"><MonitoringInterface>ipc:///tmp/d"
    "</MonitoringInterface></TarnProtocolDevice>" +
    deltacastService + unixStorage("/tmp/loop");

}  // namespace

class ConfigurationHandlerTest : public ConfigurationFixture {
  protected:
    void expectDefaultSettings() const {
        EXPECT_EQ(handler.getRequestsEndpoint(), "ipc:///tmp/requests");
        EXPECT_EQ(handler.getEventsEndpoint(), "ipc:///tmp/events");
        EXPECT_EQ(handler.getResourcesEndpoint(), "ipc:///tmp/resource");
        EXPECT_EQ(handler.getWorkflowLauncher(), defaultWorkflowLauncher);
        EXPECT_EQ(handler.getEngineLauncher(), defaultEngineLauncher);
        EXPECT_EQ(handler.getPersistentJobsFolder(), "/usr/share/TarnJobs");
        EXPECT_THAT(handler.getDevices(), IsEmpty());
        EXPECT_THAT(handler.getLoopStorages(), IsEmpty());
        EXPECT_THAT(ports("eth0"), Pair(0, 0));
    }
};

TEST_F(ConfigurationHandlerTest, CarriesTheDefaultsButNoPluginsWhenItIsMade) {
    expectDefaultSettings();
    EXPECT_THAT(handler.getPlugins(), IsEmpty());
    EXPECT_THAT(handler.getDeltacastServices(), IsEmpty());
    EXPECT_EQ(handler.getPersistentDeltacastConfigurationFile(), "");
    EXPECT_THAT(loaded, IsEmpty());
}

TEST_F(ConfigurationHandlerTest, TakesEverySettingOfTheFile) {
    ASSERT_TRUE(readSections(everything)) << error;
    EXPECT_EQ(error, "");
    EXPECT_FALSE(handler.getSecurity().isGiven());
    EXPECT_EQ(handler.getRequestsEndpoint(), "tcp://*:7000");
    EXPECT_EQ(handler.getEventsEndpoint(), "tcp://*:7001");
    EXPECT_EQ(handler.getResourcesEndpoint(), "tcp://*:7002");
    EXPECT_THAT(handler.getPlugins(), ElementsAre("/a.so", "/b.so"));
    EXPECT_THAT(ports("eth0"), Pair(10, 20));
    EXPECT_EQ(handler.getWorkflowLauncher(), "/w");
    EXPECT_EQ(handler.getEngineLauncher(), "/e");
    EXPECT_EQ(handler.getPersistentJobsFolder(), "/jobs");
    EXPECT_EQ(handler.getPersistentDeltacastConfigurationFile(), "/dc");
    ASSERT_EQ(handler.getDevices().size(), 1U);
    EXPECT_EQ(handler.getDevices()[0].type, TarnDeviceType::DELTACAST);
    EXPECT_EQ(handler.getDevices()[0].monitoringInterface, "ipc:///tmp/d");
    ASSERT_EQ(handler.getDeltacastServices().size(), 1U);
    EXPECT_TRUE(handler.getDeltacastServices()[0]->isValid());
    ASSERT_EQ(handler.getLoopStorages().size(), 1U);
    EXPECT_EQ(handler.getLoopStorages()[0]->getAddress(), "/tmp/loop");
}

TEST_F(ConfigurationHandlerTest, LogsReadingAndParsing) {
    ASSERT_TRUE(readSections(""));
    EXPECT_THAT(log.lines(),
                ElementsAre("INFO ConfigurationHandler > Reading configuration file " + path,
                            "INFO ConfigurationHandler > Parsing done"));
}

TEST_F(ConfigurationHandlerTest, LoadsThePluginsOfTheFileInOrderAfterReading) {
    ASSERT_TRUE(
        readSections("<KLN><Plugin>/b.so</Plugin></KLN><KLN><Plugin/>"
                     "<Plugin>/a.so</Plugin></KLN>"));
    EXPECT_THAT(loaded, ElementsAre("/b.so", "/a.so"));
}

TEST_F(ConfigurationHandlerTest, AFileWithoutPluginsLoadsNone) {
    ASSERT_TRUE(readSections("<Endpoints/>"));
    EXPECT_THAT(handler.getPlugins(), IsEmpty());
    EXPECT_THAT(loaded, IsEmpty());
}

TEST_F(ConfigurationHandlerTest, LoadsNoPluginAfterAFailedRead) {
    EXPECT_FALSE(readSections("<KLN><Plugin>/a.so</Plugin></KLN><TarnProtocolDevice/>"));
    EXPECT_THAT(loaded, IsEmpty());
}

TEST_F(ConfigurationHandlerTest, AMissingFileFailsAndTheDefaultsHaveTheSixPlugins) {
    EXPECT_FALSE(readMissingFile());
    EXPECT_EQ(error, "ConfigurationHandler > Failed opening " + path);
    handler.setDefault();
    const auto six = ElementsAre(
        "/opt/halden/halden-klnsdk/lib64/libklnLibsndfile.so",
        "/opt/halden/halden-klnsdk/lib64/libklnMC.so",
        "/opt/halden/halden-klnsdk/lib64/libklnVideoCodecProRes.so",
        "/opt/halden/halden-klnsdk/lib64/libklnVideoCodecTurboJpeg.so",
        "/opt/halden/halden-tarn-storage/lib64/libhalden-tarn-storage-kln.so",
        "/opt/halden/halden-tarn-multiprocess-stream/lib64/libhalden-tarn-multiprocess-stream.so");
    EXPECT_THAT(handler.getPlugins(), six);
    EXPECT_THAT(loaded, six);
}

TEST_F(ConfigurationHandlerTest, SetDefaultTwiceHasThePluginsOnce) {
    handler.setDefault();
    handler.setDefault();
    EXPECT_EQ(handler.getPlugins().size(), 6U);
}

TEST_F(ConfigurationHandlerTest, ResetKeepsDeltacastServicesAndTheirPersistentFile) {
    ASSERT_TRUE(readSections(everything));
    handler.reset();
    expectDefaultSettings();
    EXPECT_THAT(handler.getPlugins(), IsEmpty());
    EXPECT_EQ(handler.getDeltacastServices().size(), 1U);
    EXPECT_EQ(handler.getPersistentDeltacastConfigurationFile(), "/dc");
}

TEST_F(ConfigurationHandlerTest, ASecondReadAddsItsDeltacastServicesAndReplacesTheRest) {
    ASSERT_TRUE(readSections(everything));
    ASSERT_TRUE(readSections(everything));
    EXPECT_EQ(handler.getDeltacastServices().size(), 2U);
    EXPECT_EQ(handler.getLoopStorages().size(), 1U);
    EXPECT_EQ(handler.getDevices().size(), 1U);
    EXPECT_EQ(handler.getPlugins().size(), 2U);
}

TEST_F(ConfigurationHandlerTest, EvenAMissingFileResetsWhatWasThere) {
    ASSERT_TRUE(readSections(everything));
    EXPECT_FALSE(readMissingFile());
    expectDefaultSettings();
}

TEST_F(ConfigurationHandlerTest, WhatWasReadBeforeAFailureStays) {
    EXPECT_FALSE(
        readSections("<TarnProtocolDevice/><Endpoints><RequestsEndpoint>tcp://*:7000"
                     "</RequestsEndpoint></Endpoints>"));
    EXPECT_EQ(handler.getRequestsEndpoint(), "tcp://*:7000");
}

TEST_F(ConfigurationHandlerTest, AnUnknownInterfaceHasNoPorts) {
    std::uint16_t from = 7;
    std::uint16_t to = 7;
    EXPECT_FALSE(handler.getTcpPortRange("unknown", from, to));
    EXPECT_EQ(from, 0);
    EXPECT_EQ(to, 0);
}

TEST_F(ConfigurationHandlerTest, AnInterfaceIsFoundByItsExactName) {
    ASSERT_TRUE(
        readSections("<Resources><TcpPorts interface='eth0' from='1' to='2'/></Resources>"));
    std::uint16_t from = 0;
    std::uint16_t to = 0;
    EXPECT_TRUE(handler.getTcpPortRange("eth0", from, to));
    EXPECT_EQ(from, 1);
    EXPECT_EQ(to, 2);
    EXPECT_FALSE(handler.getTcpPortRange("ETH0", from, to));
    EXPECT_FALSE(handler.getTcpPortRange("eth", from, to));
}

TEST_F(ConfigurationHandlerTest, SecurityNamesTheKeysAndTheLastOneCounts) {
    ASSERT_TRUE(
        readSections("<security Required='true'/><Security required='false'>"
                     "<KeyFile>/k</KeyFile><ClientKeys>/c</ClientKeys></Security>"))
        << error;
    EXPECT_FALSE(handler.getSecurity().required);
    EXPECT_EQ(handler.getSecurity().keyFile, "/k");
    EXPECT_EQ(handler.getSecurity().clientKeys, "/c");
    handler.reset();
    EXPECT_FALSE(handler.getSecurity().isGiven());
}

TEST_F(ConfigurationHandlerTest, SecurityThatIsWrittenWronglyIsNotTakenForNone) {
    EXPECT_FALSE(readSections("<Security required='yes'/>"));
    EXPECT_THAT(error, testing::HasSubstr("neither \"true\" nor \"false\""));
    EXPECT_FALSE(readSections("<Security><KeyFile>/k</KeyFile></Security>"));
    EXPECT_THAT(error, testing::HasSubstr("one of KeyFile and ClientKeys without the other"));
    EXPECT_FALSE(readSections("<Security><ClientKeys>/c</ClientKeys></Security>"));
}

TEST_F(ConfigurationHandlerTest, ADeviceMayHaveAKeyOfItsOwn) {
    const auto device = [](const std::string& key) {
        return "<TarnProtocolDevice><MonitoringInterface>tcp://far:1</MonitoringInterface>"
               "<PublicKey>" +
               key + "</PublicKey></TarnProtocolDevice>";
    };
    const std::string key(40, '0');
    ASSERT_TRUE(readSections(device(key))) << error;
    EXPECT_EQ(handler.getDevices().at(0).publicKey, key);
    EXPECT_FALSE(readSections(device("its key")));
    EXPECT_THAT(error, testing::HasSubstr("is no key"));
}

}  // namespace tarn::service::configuration
