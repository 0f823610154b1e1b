#include "service/configuration/SettingsTable.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/keys/KeyPair.h"
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

std::string textOf(const XmlNode& parent, const char* name) {
    const XmlNode* const element = firstChildElement(parent, name);
    return element == nullptr ? "" : elementContent(*element).value_or("");
}

void takeLimits(const XmlNode& element, ConfigurationSettings& settings, Owner owner) {
    readLimits(element, settings.limits, [&](const std::string& problem) {
        utils::logWarning(owner.formatMessage(problem));
    });
}

// What is meant to be closed must not be open for a slip of the pen.
void takeSecurity(const XmlNode& element, ConfigurationSettings& settings, Owner owner) {
    const auto required = attributeValue(element, "required");
    if (required && *required != "true" && *required != "false") {
        throw ConfigurationError(
            owner, "Attribute \"required\" of Security is neither \"true\" nor \"false\"", element);
    }
    const SecuritySettings taken{.required = required == "true",
                                 .keyFile = textOf(element, "KeyFile"),
                                 .clientKeys = textOf(element, "ClientKeys"),
                                 .storageCertificate = textOf(element, "StorageCertificate")};
    if (taken.keyFile.empty() != taken.clientKeys.empty()) {
        throw ConfigurationError(
            owner, "Security has one of KeyFile and ClientKeys without the other", element);
    }
    settings.security = taken;
    for (const XmlNode* const limits : childElements(element, "Limits")) {
        takeLimits(*limits, settings, owner);
    }
}

void takeDevice(const XmlNode& element, ConfigurationSettings& settings, Owner owner) {
    const XmlNode* const monitoring = firstChildElement(element, "MonitoringInterface");
    const auto endpoint = monitoring == nullptr ? std::nullopt : elementContent(*monitoring);
    if (!endpoint) {
        throw ConfigurationError(
            owner, "Missing \"MonitoringInterface\" node in TarnProtocolDevice", element);
    }
    const auto publicKey = textOf(element, "PublicKey");
    if (!publicKey.empty() && !keys::isKey(publicKey)) {
        throw ConfigurationError(owner, "PublicKey of a TarnProtocolDevice is no key", element);
    }
    settings.devices.push_back({typeOf(element), *endpoint, publicKey});
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
        {"TarnProtocolDevice",
         {{"MonitoringInterface", {}, Content::Endpoint}, {"PublicKey"}},
         takeDevice},
        {"DeltacastService", named(DeltacastServiceConfigurationHandler::elementNames()),
         takeDeltacastService},
        {"Security",
         {{"Limits", {}, Content::Limits},
          {"KeyFile", {}, Content::KeyFile},
          {"ClientKeys", {}, Content::ClientKeys},
          {"StorageCertificate", {}, Content::StorageCertificate}},
         takeSecurity},
        {"Storage", named(LoopStorageConfigurationHandler::elementNames()), takeStorage},
        {"Jobs", named(jobCellElementNames()), takeJobCell},
    };
    return table;
}

}  // namespace tarn::service::configuration
