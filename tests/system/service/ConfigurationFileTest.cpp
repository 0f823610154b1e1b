#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

constexpr auto path = "/etc/TarnConfiguration.xml";

struct BadFile {
    const char* name;
    std::string content;
    std::string text;  ///< what the service says of it
};

std::string inRoot(const std::string& sections) {
    return "<TarnHubConfig>" + sections + "</TarnHubConfig>\n";
}

std::string deltacast(const std::string& children) {
    return inRoot("<DeltacastService>" + children + "</DeltacastService>");
}

std::string storage(const std::string& children) {
    return inRoot("<Storage type=\"LoopStorage\">" + children + "</Storage>");
}

// The children of a good DeltacastService, one of which is replaced.
std::string deltacastWith(const std::string& name, const std::string& element) {
    const std::pair<std::string, std::string> good[] = {
        {"CommandLine", "svc"},          {"DefaultPixelFormat", "rgb24"},
        {"DefaultBoard0InputList", "0"}, {"DefaultBoard0InputFrameOffsetList", "0"},
        {"DefaultLineCount", "1080"},    {"DefaultFieldMode", "i"},
        {"DefaultFrameRate", "25"}};
    std::string children;
    for (const auto& [key, value] : good) {
        children += key == name ? element : "<" + key + ">" + value + "</" + key + ">";
    }
    return deltacast(children);
}

const std::vector<BadFile> badFiles = {
    {"empty", "", "Failed reading "},
    {"oneByte", "\n", "Invalid root node in "},
    {"noXml", "this is no XML\n", "Failed reading "},
    {"cutShort", "<TarnHubConfig><Endpoints>", "Failed reading "},
    {"noFinalNewline", "<TarnHubConfig></TarnHubConfig>", "Failed reading "},
    {"otherRoot", "<SomethingElse/>\n", "Invalid root node in "},
    {"portsWithoutInterface", inRoot("<Resources><TcpPorts from=\"1\" to=\"2\"/></Resources>"),
     "Missing \"interface\" attribute in TcpPorts node"},
    {"portsWithoutFrom", inRoot("<Resources><TcpPorts interface=\"e\" to=\"2\"/></Resources>"),
     "Missing \"from\" attribute in TcpPorts node"},
    {"portsWithoutTo", inRoot("<Resources><TcpPorts interface=\"e\" from=\"2\"/></Resources>"),
     "Missing \"to\" attribute in TcpPorts node"},
    {"portsThatAreNoNumbers",
     inRoot("<Resources><TcpPorts interface=\"e\" from=\"many\" to=\"2\"/></Resources>"), "many"},
    {"portsOutOfRange",
     inRoot("<Resources><TcpPorts interface=\"e\" from=\"1\" to=\"99999999999\"/></Resources>"),
     "99999999999"},
    {"deviceWithoutInterface", inRoot("<TarnProtocolDevice/>"),
     "Missing \"MonitoringInterface\" node in TarnProtocolDevice"},
    {"captureWithoutCommand", deltacastWith("CommandLine", ""),
     "DeltacastService configuration error: no CommandLine node"},
    {"captureWithEmptyCommandNode", deltacastWith("CommandLine", "<CommandLine/>"),
     "DeltacastService configuration error: CommandLine node error"},
    {"captureWithoutPixelFormat", deltacastWith("DefaultPixelFormat", ""),
     "DeltacastService configuration error: no DefaultPixelFormat node"},
    {"captureWithOtherPixelFormat",
     deltacastWith("DefaultPixelFormat", "<DefaultPixelFormat>UYVY422_8</DefaultPixelFormat>"),
     "DefaultPixelFormat node is invalid: only uyvy422_8 and rgb24 are supported"},
    {"captureWithoutInputs", deltacastWith("DefaultBoard0InputList", ""),
     "DeltacastService configuration error: no DefaultBoard0InputList node"},
    {"captureWithoutOffsets", deltacastWith("DefaultBoard0InputFrameOffsetList", ""),
     "DeltacastService configuration error: no DefaultBoard0InputFrameOffsetList node"},
    {"captureWithoutLines", deltacastWith("DefaultLineCount", ""),
     "DeltacastService configuration error: no DefaultLineCount node"},
    {"captureWithOtherLines",
     deltacastWith("DefaultLineCount", "<DefaultLineCount>1081</DefaultLineCount>"),
     "DefaultLineCount node is invalid: only 488, 576, 720 and 1080 are supported"},
    {"captureWithLinesThatAreNoNumber",
     deltacastWith("DefaultLineCount", "<DefaultLineCount>plenty</DefaultLineCount>"), "plenty"},
    {"captureWithoutFieldMode", deltacastWith("DefaultFieldMode", ""),
     "DeltacastService configuration error: no DefaultFieldMode node"},
    {"captureWithOtherFieldMode",
     deltacastWith("DefaultFieldMode", "<DefaultFieldMode>I</DefaultFieldMode>"),
     "DefaultFieldMode node is invalid: only i, p and psf are supported"},
    {"captureWithoutRate", deltacastWith("DefaultFrameRate", ""),
     "DeltacastService configuration error: no DefaultFrameRate node"},
    {"captureWithOtherRate",
     deltacastWith("DefaultFrameRate", "<DefaultFrameRate>29</DefaultFrameRate>"),
     "DefaultFrameRate node is invalid"},
    {"storageWithoutType", storage(""), "LoopStorage configuration error: no InterfaceType node"},
    {"storageOfOtherType", storage("<InterfaceType>TCP</InterfaceType>"),
     "LoopStorage configuration error: InterfaceType must be either tcp or unix"},
    {"storageWithoutAddressText", storage("<InterfaceType>unix</InterfaceType><InterfaceAddress/>"),
     "LoopStorage configuration error: InterfaceAddress is empty"},
    {"storageWithoutPort",
     storage("<InterfaceType>tcp</InterfaceType><InterfaceAddress>h</InterfaceAddress>"),
     "LoopStorage configuration error: no TcpPort node on a tcp InterfaceType"},
    {"storageWithBadPort",
     storage("<InterfaceType>tcp</InterfaceType><InterfaceAddress>h</InterfaceAddress>"
             "<TcpPort>abc</TcpPort>"),
     "LoopStorage configuration error: invalid TcpPort value"},
    {"binary",
     std::string("\x7f"
                 "ELF\x02\x01\x00\x00\xff\xfe\x00<>",
                 13),
     "Failed reading "},
};

class ConfigurationFileTest : public SystemTest {
  protected:
    void expectTheDefaults(const std::string& text) {
        startService();
        EXPECT_TRUE(service().log().contains("WARN  Warning: "));
        EXPECT_TRUE(service().log().contains(text)) << "not said: " << text;
        EXPECT_TRUE(service().log().contains("WARN  Using default configuration"));
        EXPECT_TRUE(api().info());
    }
};

class BadConfigurationFileTest : public ConfigurationFileTest,
                                 public ::testing::WithParamInterface<BadFile> {};

TEST_P(BadConfigurationFileTest, IsReportedAndTheServiceRunsOnItsDefaults) {
    configure(GetParam().content);
    expectTheDefaults(GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Files, BadConfigurationFileTest, ::testing::ValuesIn(badFiles),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(ConfigurationFileTest, AFolderInItsPlaceIsReported) {
    std::filesystem::create_directory(path);
    expectTheDefaults(path);
}

TEST_F(ConfigurationFileTest, APipeInItsPlaceHangsNothing) {
    ASSERT_EQ(::mkfifo(path, 0600), 0);
    expectTheDefaults(path);
}

TEST_F(ConfigurationFileTest, AHundredMegabytesAreReported) {
    std::ofstream file(path, std::ios::binary);
    const std::string block(1u << 20, ' ');
    for (int i = 0; i < 100; ++i) {
        file << block;
    }
    file << "<TarnHubConfig></TarnHubConfig>\n";
    file.close();
    expectTheDefaults(path);
}

TEST_F(ConfigurationFileTest, AParseErrorStandsAloneAndItsLineInALineOfItsOwn) {
    configure("<TarnHubConfig>\n<Paths>\n</Paths\n<\n");
    expectTheDefaults(std::string("Failed reading ") + path + ": expected >");
    EXPECT_TRUE(service().log().contains(std::string("Parsing of ") + path + " ended in line 4"));
    EXPECT_FALSE(service().log().contains("expected > ("));
}

TEST_F(ConfigurationFileTest, WhatFollowsAZeroByteIsNotRead) {
    configure(inRoot("") + std::string("\0</nonsense>\n", 13));
    startService();
    EXPECT_FALSE(service().log().contains("Using default configuration"));
    EXPECT_TRUE(service().log().contains("ended at a zero byte in line 2"));
    EXPECT_TRUE(api().info());
}

// It is stored as it is, and refused when the ingest service is to be started with it.
TEST_F(ConfigurationFileTest, ADefaultListThatHoldsItsOwnPlaceholderStartsNoIngest) {
    configureSections(
        "<TarnProtocolDevice type=\"Deltacast\"><MonitoringInterface>ipc:///tmp/nobody"
        "</MonitoringInterface></TarnProtocolDevice><DeltacastService>"
        "<CommandLine>touch /tmp/started %board0-input-list</CommandLine>"
        "<DefaultPixelFormat>rgb24</DefaultPixelFormat>"
        "<DefaultBoard0InputList>1,%board0-input-list</DefaultBoard0InputList>"
        "<DefaultBoard0InputFrameOffsetList>0</DefaultBoard0InputFrameOffsetList>"
        "<DefaultLineCount>1080</DefaultLineCount><DefaultFieldMode>i</DefaultFieldMode>"
        "<DefaultFrameRate>25</DefaultFrameRate></DeltacastService>");
    launchService();
    EXPECT_TRUE(service().waitForLog(
        "the value \"1,%board0-input-list\" holds its own placeholder %board0-input-list"));
    EXPECT_FALSE(service().log().contains("Using default configuration"));
    EXPECT_FALSE(std::filesystem::exists("/tmp/started"));
}

TEST_F(ConfigurationFileTest, AGoodFileIsUsed) {
    configureSections(
        "<Endpoints><requestsendpoint>ipc:///tmp/elsewhere</requestsendpoint></Endpoints>"
        "<KLN><Plugin>/no/such/plugin.so</Plugin></KLN>"
        "<Resources><TcpPorts interface=\"eth0\" from=\"70000\" to=\"-1\"/></Resources>"
        "<Paths><PersistentJobsFolder>/tmp/jobs</PersistentJobsFolder></Paths>");
    startService();
    EXPECT_FALSE(service().log().contains("Using default configuration"));
    EXPECT_TRUE(service().log().contains(
        "Requests endpoint (to be passed to API service handler): ipc:///tmp/elsewhere"));
    EXPECT_TRUE(service().log().contains("\teth0:4464 to 65535"));
    EXPECT_TRUE(service().log().contains("Error while loading plugin: /no/such/plugin.so"));
    EXPECT_TRUE(std::filesystem::is_directory("/tmp/jobs"));
    Api elsewhere("ipc:///tmp/elsewhere");
    EXPECT_TRUE(elsewhere.info());
}

TEST_F(ConfigurationFileTest, AFolderOfJobsThatCannotBeMadeDoesNotStopTheService) {
    configureSections("<Paths><PersistentJobsFolder>/no/such/place</PersistentJobsFolder></Paths>");
    startService();
    EXPECT_TRUE(service().log().contains("Failed creating/checking folders: "));
    EXPECT_TRUE(service().log().contains("Failed creating folder /no/such/place: "));
    EXPECT_TRUE(api().info());
}

}  // namespace

}  // namespace tarn::test
