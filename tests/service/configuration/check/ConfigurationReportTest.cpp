#include "service/configuration/check/ConfigurationReport.h"

#include "service/configuration/DeltacastServiceConfigurationHandler.h"
#include "service/configuration/LoopStorageConfigurationHandler.h"
#include "tests/service/configuration/ConfigurationFixture.h"
#include "tests/service/configuration/ParsedElement.h"

namespace tarn::service::configuration {

using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

template <typename Handler>
std::shared_ptr<Handler> parsed(const std::string& text) {
    auto handler = std::make_shared<Handler>();
    handler->readXml(*ParsedElement(text));
    return handler;
}

ConfigurationSettings filledSettings() {
    ConfigurationSettings settings;
    settings.reset();
    settings.plugins = {"/a.so", "/b.so"};
    settings.tcpPortRanges = {{"eth1", {65535, 1}}, {"*", {10000, 20000}}, {"eth0", {5, 6}}};
    settings.loopStorages = {
        parsed<LoopStorageConfigurationHandler>(
            "<Storage><InterfaceType>tcp</InterfaceType><InterfaceAddress>host</InterfaceAddress>"
            "<TcpPort>5000</TcpPort></Storage>"),
        parsed<LoopStorageConfigurationHandler>(
            "<Storage><InterfaceType>unix</InterfaceType><InterfaceAddress>/tmp/s"
            "</InterfaceAddress></Storage>"),
        std::make_shared<LoopStorageConfigurationHandler>()};
    settings.deltacastServices = {
        parsed<DeltacastServiceConfigurationHandler>(
            "<D><CommandLine>svc %line-count</CommandLine><DefaultPixelFormat>rgb24"
            "</DefaultPixelFormat><DefaultBoard0InputList>0 1</DefaultBoard0InputList>"
            "<DefaultBoard0InputFrameOffsetList>7 8</DefaultBoard0InputFrameOffsetList>"
            "<DefaultLineCount>720</DefaultLineCount><DefaultFieldMode>p</DefaultFieldMode>"
            "<DefaultFrameRate>5994</DefaultFrameRate></D>"),
        std::make_shared<DeltacastServiceConfigurationHandler>()};
    settings.devices = {{TarnDeviceType::GENERIC, "ipc:///tmp/g"},
                        {TarnDeviceType::DELTACAST, "ipc:///tmp/c"},
                        {TarnDeviceType::DPDK, "ipc:///tmp/p"},
                        {static_cast<TarnDeviceType>(7), "ipc:///tmp/7"}};
    settings.persistentDeltacastConfigurationFile = "/not/shown";
    return settings;
}

const std::vector<std::string> defaultReport = {
    "*** SERVICE CONFIGURATION ***",
    "Requests endpoint (to be passed to API service handler): ipc:///tmp/requests",
    "Events endpoint: ipc:///tmp/events",
    "Resources endpoint (for SHM management): ipc:///tmp/resource",
    "KLN plugins declared:",
    "\t+ plugins declared in environment variables KLN_PLUGIN_DIRS, KLN_PLUGIN_FOLDERS, "
    "KLN_PLUGINS",
    "Path to workflow launcher: "
    "/opt/halden/halden-tarn-workflow-launcher/bin/tarnWorkflowLauncher",
    "Path to engine launcher (required for multi-engine workflows): "
    "/opt/halden/halden-tarn-engine-launcher/bin/tarnEngineLauncher",
    "Path to persistent jobs config (required for workflows with persistent jobs): "
    "/usr/share/TarnJobs",
    "Job endpoint ranges (TCP only):",
    "Loop storages",
    "Deltacast services",
    "TARN Protocol devices",
    "*****************************",
};

using ConfigurationReportTest = ConfigurationFixture;

}  // namespace

TEST_F(ConfigurationReportTest, ListsEveryKindOfEntryInOrder) {
    EXPECT_THAT(
        configurationReport(filledSettings()),
        ElementsAre(
            "*** SERVICE CONFIGURATION ***",
            "Requests endpoint (to be passed to API service handler): ipc:///tmp/requests",
            "Events endpoint: ipc:///tmp/events",
            "Resources endpoint (for SHM management): ipc:///tmp/resource",
            "KLN plugins declared:", "\t/a.so", "\t/b.so",
            "\t+ plugins declared in environment variables KLN_PLUGIN_DIRS, KLN_PLUGIN_FOLDERS, "
            "KLN_PLUGINS",
            "Path to workflow launcher: "
            "/opt/halden/halden-tarn-workflow-launcher/bin/tarnWorkflowLauncher",
            "Path to engine launcher (required for multi-engine workflows): "
            "/opt/halden/halden-tarn-engine-launcher/bin/tarnEngineLauncher",
            "Path to persistent jobs config (required for workflows with persistent jobs): "
            "/usr/share/TarnJobs",
            "Job endpoint ranges (TCP only):", "\t*:10000 to 20000", "\teth0:5 to 6",
            "\teth1:65535 to 1", "Loop storages", "\tTCP host:5000", "\tIPC /tmp/s", "\tInvalid",
            "Deltacast services",
            "\tsvc %line-count[ pix rgb24][ inputs 0 1][ lines 720][ field p][ rate 5994]",
            "\tInvalid", "TARN Protocol devices", "\t[Generic] ", "ipc:///tmp/g", "\t[Deltacast] ",
            "ipc:///tmp/c", "\t[DPDK] ", "ipc:///tmp/p", "\t[Generic] ", "ipc:///tmp/7",
            "*****************************"));
}

TEST_F(ConfigurationReportTest, TheHandlerLogsTheLinesAsTheyStandAtInfo) {
    handler.printConfiguration();
    std::vector<std::string> expected;
    for (const auto& line : defaultReport) {
        expected.push_back("INFO " + line);
    }
    EXPECT_THAT(log.lines(), ElementsAreArray(expected));
}

}  // namespace tarn::service::configuration
