#include "service/configuration/ConfigurationFileReader.h"

#include <stdexcept>

#include "service/configuration/LoopStorageConfigurationHandler.h"
#include "tests/service/configuration/ConfigurationFixture.h"

namespace tarn::service::configuration {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

class ConfigurationFileReaderTest : public ConfigurationFixture {
  protected:
    bool readTcpPorts(const std::string& attributes) {
        return readSections("<Resources><TcpPorts " + attributes + "/></Resources>");
    }

    TarnDeviceType deviceTypeFor(const std::string& attribute) {
        EXPECT_TRUE(readSections("<TarnProtocolDevice " + attribute +
                                 "><MonitoringInterface>ipc:///tmp/d</MonitoringInterface>"
                                 "</TarnProtocolDevice>"))
            << error;
        return handler.getDevices().at(0).type;
    }

    template <typename Exception>
    std::string thrownBy(const std::string& sections) {
        try {
            readSections(sections);
        } catch (const Exception& exception) {
            return exception.what();
        }
        return "nothing thrown";
    }
};

}  // namespace

TEST_F(ConfigurationFileReaderTest, NamesOfElementsIgnoreCase) {
    ASSERT_TRUE(
        read("<tarnhubconfig><ENDPOINTS><requestsendpoint>ipc:///tmp/r</requestsendpoint>"
             "</ENDPOINTS></tarnhubconfig>\n"))
        << error;
    EXPECT_EQ(handler.getRequestsEndpoint(), "ipc:///tmp/r");
}

TEST_F(ConfigurationFileReaderTest, NamesOfAttributesIgnoreCase) {
    ASSERT_TRUE(readTcpPorts("INTERFACE='eth0' From='1' TO='2'")) << error;
    EXPECT_THAT(ports("eth0"), Pair(1, 2));
}

TEST_F(ConfigurationFileReaderTest, ADeviceIsDeltacastOnlyByTheExactTypeText) {
    EXPECT_EQ(deviceTypeFor("type='Deltacast'"), TarnDeviceType::DELTACAST);
    EXPECT_EQ(deviceTypeFor("TYPE='Deltacast'"), TarnDeviceType::DELTACAST);
    EXPECT_EQ(deviceTypeFor("type='deltacast'"), TarnDeviceType::GENERIC);
    EXPECT_EQ(deviceTypeFor("type='Generic'"), TarnDeviceType::GENERIC);
    EXPECT_EQ(deviceTypeFor("type='DPDK'"), TarnDeviceType::GENERIC);
    EXPECT_EQ(deviceTypeFor(""), TarnDeviceType::GENERIC);
}

TEST_F(ConfigurationFileReaderTest, TheSecondOfTwoEndpointsWins) {
    ASSERT_TRUE(
        readSections("<Endpoints><RequestsEndpoint>ipc:///tmp/1</RequestsEndpoint>"
                     "<RequestsEndpoint>ipc:///tmp/2</RequestsEndpoint></Endpoints>"));
    EXPECT_EQ(handler.getRequestsEndpoint(), "ipc:///tmp/2");
}

TEST_F(ConfigurationFileReaderTest, TheLastEndpointOfSeveralSectionsWinsIfItHasContent) {
    ASSERT_TRUE(
        readSections("<Endpoints><EventsEndpoint>ipc:///tmp/1</EventsEndpoint></Endpoints>"
                     "<Endpoints><EventsEndpoint>ipc:///tmp/2</EventsEndpoint></Endpoints>"
                     "<Endpoints><EventsEndpoint></EventsEndpoint></Endpoints>"));
    EXPECT_EQ(handler.getEventsEndpoint(), "ipc:///tmp/2");
}

TEST_F(ConfigurationFileReaderTest, AnEmptyElementKeepsTheDefault) {
    ASSERT_TRUE(
        readSections("<Endpoints><RequestsEndpoint/></Endpoints>"
                     "<Paths><PersistentJobsFolder> </PersistentJobsFolder></Paths>"));
    EXPECT_EQ(handler.getRequestsEndpoint(), "ipc:///tmp/requests");
    EXPECT_EQ(handler.getPersistentJobsFolder(), "/usr/share/TarnJobs");
}

TEST_F(ConfigurationFileReaderTest, AFirstChildWithoutTextGivesTheEmptyText) {
    ASSERT_TRUE(
        readSections("<Paths><PersistentJobsFolder><![CDATA[]]></PersistentJobsFolder>"
                     "<WorkflowLauncher><x/>text</WorkflowLauncher></Paths>"
                     "<KLN><Plugin><x/></Plugin></KLN>"));
    EXPECT_EQ(handler.getPersistentJobsFolder(), "");
    EXPECT_EQ(handler.getWorkflowLauncher(), "");
    EXPECT_THAT(handler.getPlugins(), ElementsAre(""));
}

TEST_F(ConfigurationFileReaderTest, TextIsTakenWithItsBlanksAndReferencesResolved) {
    ASSERT_TRUE(readSections("<Paths><EngineLauncher> /a&amp;b\t</EngineLauncher></Paths>"));
    EXPECT_EQ(handler.getEngineLauncher(), " /a&b\t");
}

TEST_F(ConfigurationFileReaderTest, UnknownElementsAreIgnored) {
    EXPECT_TRUE(
        readSections("<Other><Plugin>/x</Plugin></Other><KLN><Plugins>/y</Plugins></KLN>"
                     "<Plugin>/z</Plugin>"));
    EXPECT_THAT(handler.getPlugins(), IsEmpty());
}

TEST_F(ConfigurationFileReaderTest, PortsAreCutToTheirLowSixteenBits) {
    ASSERT_TRUE(readTcpPorts("interface=\"eth0\" from=\"70000\" to=\"-1\""));
    EXPECT_THAT(ports("eth0"), Pair(4464, 65535));
}

TEST_F(ConfigurationFileReaderTest, ARangeMayRunDownwards) {
    ASSERT_TRUE(readTcpPorts("interface='*' from='20' to='10'"));
    EXPECT_THAT(ports("*"), Pair(20, 10));
}

TEST_F(ConfigurationFileReaderTest, ALaterRangeOfTheSameInterfaceReplacesTheEarlier) {
    ASSERT_TRUE(
        readSections("<Resources><TcpPorts interface='eth0' from='1' to='2'/></Resources>"
                     "<Resources><TcpPorts interface='eth1' from='3' to='4'/>"
                     "<TcpPorts interface='eth0' from='5' to='6'/></Resources>"));
    EXPECT_THAT(ports("eth0"), Pair(5, 6));
    EXPECT_THAT(ports("eth1"), Pair(3, 4));
}

TEST_F(ConfigurationFileReaderTest, EachMissingAttributeOfTcpPortsHasItsText) {
    EXPECT_FALSE(readTcpPorts("from='1' to='2'"));
    EXPECT_EQ(error, "ConfigurationHandler > Missing \"interface\" attribute in TcpPorts node");
    EXPECT_FALSE(readTcpPorts("interface='eth0' to='2'"));
    EXPECT_EQ(error, "ConfigurationHandler > Missing \"from\" attribute in TcpPorts node");
    EXPECT_FALSE(readTcpPorts("interface='eth0' from='1'"));
    EXPECT_EQ(error, "ConfigurationHandler > Missing \"to\" attribute in TcpPorts node");
}

TEST_F(ConfigurationFileReaderTest, WithInterfaceAndFromMissingTheInterfaceIsReported) {
    EXPECT_FALSE(readTcpPorts("to='x'"));
    EXPECT_EQ(error, "ConfigurationHandler > Missing \"interface\" attribute in TcpPorts node");
}

TEST_F(ConfigurationFileReaderTest, AMissingAttributeIsFoundBeforeABadNumber) {
    EXPECT_FALSE(readTcpPorts("interface='eth0' from='x'"));
    EXPECT_EQ(error, "ConfigurationHandler > Missing \"to\" attribute in TcpPorts node");
}

TEST_F(ConfigurationFileReaderTest, APortThatIsNoNumberThrowsAndSaysWhich) {
    EXPECT_EQ(thrownBy<std::invalid_argument>(
                  "<Resources>\n<TcpPorts interface='eth0' from='abc' to='2'/></Resources>"),
              "stoi: TcpPorts attribute \"from\" is not a decimal number: \"abc\" (line 3)");
}

TEST_F(ConfigurationFileReaderTest, TheUpperPortIsConvertedFirst) {
    EXPECT_EQ(thrownBy<std::invalid_argument>(
                  "<Resources><TcpPorts interface='eth0' from='abc' to='xyz'/></Resources>"),
              "stoi: TcpPorts attribute \"to\" is not a decimal number: \"xyz\" (line 2)");
}

TEST_F(ConfigurationFileReaderTest, APortBeyondAnIntThrowsAndSaysWhich) {
    EXPECT_EQ(thrownBy<std::out_of_range>(
                  "<Resources><TcpPorts interface='e' from='1' to='99999999999'/></Resources>"),
              "stoi: TcpPorts attribute \"to\" is out of range: \"99999999999\" (line 2)");
}

TEST_F(ConfigurationFileReaderTest, APortMayHaveBlanksBeforeAndTextBehindTheNumber) {
    ASSERT_TRUE(readTcpPorts("interface='eth0' from=' 12' to='+34ms'"));
    EXPECT_THAT(ports("eth0"), Pair(12, 34));
}

TEST_F(ConfigurationFileReaderTest, ADeviceWithoutMonitoringInterfaceIsRefused) {
    const std::string missing =
        "ConfigurationHandler > Missing \"MonitoringInterface\" node in TarnProtocolDevice";
    EXPECT_FALSE(readSections("<TarnProtocolDevice/>"));
    EXPECT_EQ(error, missing);
    EXPECT_FALSE(
        readSections("<TarnProtocolDevice><MonitoringInterface/><MonitoringInterface>ipc:///tmp/d"
                     "</MonitoringInterface></TarnProtocolDevice>"));
    EXPECT_EQ(error, missing);
}

TEST_F(ConfigurationFileReaderTest, OfSeveralMonitoringInterfacesTheFirstCounts) {
    ASSERT_TRUE(
        readSections("<TarnProtocolDevice><MonitoringInterface>ipc:///tmp/1"
                     "</MonitoringInterface><MonitoringInterface>ipc:///tmp/2"
                     "</MonitoringInterface></TarnProtocolDevice>"));
    EXPECT_EQ(handler.getDevices().at(0).monitoringInterface, "ipc:///tmp/1");
}

TEST_F(ConfigurationFileReaderTest, DevicesKeepTheOrderOfTheFile) {
    ASSERT_TRUE(
        readSections("<TarnProtocolDevice><MonitoringInterface>ipc:///tmp/1"
                     "</MonitoringInterface></TarnProtocolDevice><Other/>"
                     "<TarnProtocolDevice type='Deltacast'><MonitoringInterface>"
                     "ipc:///tmp/2</MonitoringInterface></TarnProtocolDevice>"));
    ASSERT_EQ(handler.getDevices().size(), 2U);
    EXPECT_EQ(handler.getDevices()[0].monitoringInterface, "ipc:///tmp/1");
    EXPECT_EQ(handler.getDevices()[1].monitoringInterface, "ipc:///tmp/2");
}

TEST_F(ConfigurationFileReaderTest, ARejectedDeltacastServiceLeavesItsOwnMessage) {
    EXPECT_FALSE(readSections("<DeltacastService/>"));
    EXPECT_EQ(error,
              "DeltacastServiceConfigurationHandler > DeltacastService configuration error: "
              "no CommandLine node");
    EXPECT_THAT(handler.getDeltacastServices(), IsEmpty());
}

TEST_F(ConfigurationFileReaderTest, ARejectedLoopStorageLeavesItsOwnMessage) {
    EXPECT_FALSE(readSections("<Storage type='LoopStorage'/>"));
    EXPECT_EQ(error,
              "LoopStorageConfigurationHandler > LoopStorage configuration error: "
              "no InterfaceType node");
    EXPECT_THAT(handler.getLoopStorages(), IsEmpty());
}

TEST_F(ConfigurationFileReaderTest, AStorageOfAnotherTypeIsSkipped) {
    EXPECT_TRUE(readSections("<Storage type=\"Other\"/><Storage/><Storage type='loopstorage'/>"));
    EXPECT_THAT(handler.getLoopStorages(), IsEmpty());
    EXPECT_EQ(error, "");
}

TEST_F(ConfigurationFileReaderTest, SectionsAreReadInTheirFixedOrder) {
    EXPECT_FALSE(
        readSections("<Storage type='LoopStorage'/><DeltacastService/>"
                     "<TarnProtocolDevice/><Resources><TcpPorts/></Resources>"));
    EXPECT_EQ(error, "ConfigurationHandler > Missing \"interface\" attribute in TcpPorts node");
    EXPECT_FALSE(readSections("<Storage type='LoopStorage'/><DeltacastService/>"));
    EXPECT_THAT(error, testing::HasSubstr("no CommandLine node"));
}

}  // namespace tarn::service::configuration
