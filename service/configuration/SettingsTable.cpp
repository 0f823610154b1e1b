#include "service/configuration/SettingsTable.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/utils/Log.h"
#include "service/configuration/ConfigurationError.h"
#include "service/configuration/DeltacastServiceConfigurationHandler.h"
#include "service/configuration/LimitsElement.h"
#include "service/configuration/LoopStorageConfigurationHandler.h"
#include "service/configuration/xml/XmlNumber.h"

namespace tarn::service::configuration {

namespace {

using Owner = const utils::IMessageFormatter&;

std::string requiredAttribute(const XmlNode& element, const std::string& name, Owner owner) {
    auto text = attributeValue(element, name.c_str());
    if (!text) {
        throw ConfigurationError(owner, "Missing \"" + name + "\" attribute in TcpPorts node",
                                 element);
    }
    return *text;
}

// Only the low 16 bits of the ports count, on purpose.
void takeTcpPorts(const XmlNode& element, ConfigurationSettings& settings, Owner owner) {
    const auto interface = requiredAttribute(element, "interface", owner);
    const auto fromText = requiredAttribute(element, "from", owner);
    const auto toText = requiredAttribute(element, "to", owner);
    const auto to = static_cast<std::uint16_t>(attributeToInt(element, "to", toText));
    const auto from = static_cast<std::uint16_t>(attributeToInt(element, "from", fromText));
    settings.tcpPortRanges[interface] = {from, to};
}

TarnDeviceType typeOf(const XmlNode& device) {
    const auto text = attributeValue(device, "type");
    const auto* const kind = std::find_if(
        std::begin(deviceKinds), std::end(deviceKinds),
        [&](const auto& known) { return known.typeInFile != nullptr && text == known.typeInFile; });
    return kind == std::end(deviceKinds) ? TarnDeviceType::GENERIC : kind->type;
}

void takeDevice(const XmlNode& element, ConfigurationSettings& settings, Owner owner) {
    const XmlNode* const monitoring = firstChildElement(element, "MonitoringInterface");
    const auto endpoint = monitoring == nullptr ? std::nullopt : elementContent(*monitoring);
    if (!endpoint) {
        throw ConfigurationError(
            owner, "Missing \"MonitoringInterface\" node in TarnProtocolDevice", element);
    }
    settings.devices.push_back({typeOf(element), *endpoint});
}

void takeDeltacastService(const XmlNode& element, ConfigurationSettings& settings, Owner) {
    auto service = std::make_shared<DeltacastServiceConfigurationHandler>();
    service->readXml(element);
    settings.deltacastServices.push_back(std::move(service));
}

void takeStorage(const XmlNode& element, ConfigurationSettings& settings, Owner) {
    if (attributeValue(element, "type") != "LoopStorage") {
        return;
    }
    auto storage = std::make_shared<LoopStorageConfigurationHandler>();
    storage->readXml(element);
    settings.loopStorages.push_back(std::move(storage));
}

void takeJobCell(const XmlNode& element, ConfigurationSettings& settings, Owner owner) {
    readJobCell(element, settings.jobCell, owner);
}

void takeLimits(const XmlNode& element, ConfigurationSettings& settings, Owner owner) {
    readLimits(element, settings.limits, [&](const std::string& problem) {
        utils::logWarning(owner.formatMessage(problem));
    });
}

std::vector<Setting> named(const std::vector<std::string>& names) {
    std::vector<Setting> settings;
    for (const auto& name : names) {
        settings.push_back({name});
    }
    return settings;
}

}  // namespace

const std::vector<SettingsSection>& settingsTable() {
    using Settings = ConfigurationSettings;
    static const std::vector<SettingsSection> table = {
        {"Endpoints",
         {{"RequestsEndpoint", &Settings::requestsEndpoint, Content::Endpoint},
          {"EventsEndpoint", &Settings::eventsEndpoint, Content::Endpoint},
          {"ResourcesEndpoint", &Settings::resourcesEndpoint, Content::Endpoint}}},
        {"KLN", {{"Plugin", &Settings::plugins, Content::Library}}},
        {"Resources", {{"TcpPorts", takeTcpPorts, Content::PortRange}}},
        {"Paths",
         {{"WorkflowLauncher", &Settings::workflowLauncher, Content::Program},
          {"EngineLauncher", &Settings::engineLauncher, Content::Program},
          {"PersistentJobsFolder", &Settings::persistentJobsFolder},
          {"PersistentDeltacastConfigurationFile",
           &Settings::persistentDeltacastConfigurationFile}}},
        {"TarnProtocolDevice", {{"MonitoringInterface", {}, Content::Endpoint}}, takeDevice},
        {"DeltacastService", named(DeltacastServiceConfigurationHandler::elementNames()),
         takeDeltacastService},
        {"Security", {{"Limits", takeLimits, Content::Limits}}},
        {"Storage", named(LoopStorageConfigurationHandler::elementNames()), takeStorage},
        {"Jobs", named(jobCellElementNames()), takeJobCell},
    };
    return table;
}

}  // namespace tarn::service::configuration
