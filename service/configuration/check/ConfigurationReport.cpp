#include "service/configuration/check/ConfigurationReport.h"

#include <algorithm>
#include <iterator>

#include "service/configuration/DeltacastServiceConfigurationHandler.h"
#include "service/configuration/LoopStorageConfigurationHandler.h"

namespace tarn::service::configuration {

namespace {

using Lines = std::vector<std::string>;

void addPlugins(const ConfigurationSettings& settings, Lines& lines) {
    lines.push_back("KLN plugins declared:");
    for (const auto& plugin : settings.plugins) {
        lines.push_back("\t" + plugin);
    }
    lines.push_back(
        "\t+ plugins declared in environment variables KLN_PLUGIN_DIRS, KLN_PLUGIN_FOLDERS, "
        "KLN_PLUGINS");
}

void addPortRanges(const ConfigurationSettings& settings, Lines& lines) {
    lines.push_back("Job endpoint ranges (TCP only):");
    for (const auto& [interface, ports] : settings.tcpPortRanges) {
        lines.push_back("\t" + interface + ":" + std::to_string(ports.first) + " to " +
                        std::to_string(ports.second));
    }
}

void addServices(const ConfigurationSettings& settings, Lines& lines) {
    lines.push_back("Loop storages");
    for (const auto& storage : settings.loopStorages) {
        lines.push_back("\t" + storage->toString());
    }
    lines.push_back("Deltacast services");
    for (const auto& service : settings.deltacastServices) {
        lines.push_back("\t" + service->toString());
    }
}

// A type that nobody knows is shown as the first kind.
std::string deviceTag(TarnDeviceType type) {
    const auto* const kind = std::find_if(std::begin(deviceKinds), std::end(deviceKinds),
                                          [&](const auto& known) { return known.type == type; });
    const auto& shown = kind == std::end(deviceKinds) ? deviceKinds[0] : *kind;
    return "\t" + std::string(shown.reportTag) + " ";
}

void addDevices(const ConfigurationSettings& settings, Lines& lines) {
    lines.push_back("TARN Protocol devices");
    for (const auto& device : settings.devices) {
        lines.push_back(deviceTag(device.type));
        lines.push_back(device.monitoringInterface);
    }
}

}  // namespace

std::vector<std::string> configurationReport(const ConfigurationSettings& settings) {
    Lines lines = {
        "*** SERVICE CONFIGURATION ***",
        "Requests endpoint (to be passed to API service handler): " + settings.requestsEndpoint,
        "Events endpoint: " + settings.eventsEndpoint,
        "Resources endpoint (for SHM management): " + settings.resourcesEndpoint,
    };
    addPlugins(settings, lines);
    lines.push_back("Path to workflow launcher: " + settings.workflowLauncher);
    lines.push_back("Path to engine launcher (required for multi-engine workflows): " +
                    settings.engineLauncher);
    lines.push_back(
        "Path to persistent jobs config (required for workflows with persistent jobs): " +
        settings.persistentJobsFolder);
    addPortRanges(settings, lines);
    addServices(settings, lines);
    addDevices(settings, lines);
    lines.push_back("*****************************");
    return lines;
}

}  // namespace tarn::service::configuration
