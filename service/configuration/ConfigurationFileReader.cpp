#include "service/configuration/ConfigurationFileReader.h"

#include <utility>

#include "platform/utils/Log.h"
#include "service/configuration/ConfigurationError.h"
#include "service/configuration/ConfigurationFile.h"
#include "service/configuration/DeltacastServiceConfigurationHandler.h"
#include "service/configuration/LoopStorageConfigurationHandler.h"
#include "service/configuration/xml/XmlDocument.h"
#include "service/configuration/xml/XmlNumber.h"

namespace tarn::service::configuration {

namespace {

/// The last child of that name with content wins; without one the setting keeps its value.
void takeText(const XmlNode& section, const char* name, std::string& setting) {
    for (const XmlNode* const element : childElements(section, name)) {
        if (auto text = elementContent(*element)) {
            setting = std::move(*text);
        }
    }
}

}  // namespace

std::unique_ptr<XmlDocument> ConfigurationFileReader::load(const std::string& path) const {
    return parse(readConfigurationBytes(path, owner), path);
}

std::unique_ptr<XmlDocument> ConfigurationFileReader::parse(std::string content,
                                                            const std::string& path) const {
    const char* const hint = content.back() == '\n'
                                 ? ""
                                 : "the last character of the file is not read and must be a "
                                   "line break";
    try {
        auto document = std::make_unique<XmlDocument>(std::move(content));
        utils::logInfo(owner.formatMessage("Parsing done"));
        if (const unsigned line = document->lineOfZeroByte()) {
            utils::logWarning(owner.formatMessage(
                "Parsing of " + path + " ended at a zero byte in line " + std::to_string(line)));
        }
        return document;
    } catch (const XmlError& error) {
        // Not a part of the text of the failure, which ends with the parser's own words.
        utils::logWarning(owner.formatMessage("Parsing of " + path + " ended in line " +
                                              std::to_string(error.line())));
        throw ConfigurationError(owner, "Failed reading " + path + ": " + error.what(), hint,
                                 error.line());
    }
}

void ConfigurationFileReader::read(const XmlDocument& document, const std::string& path) {
    const XmlNode* const root = firstChildElement(document.top(), "TarnHubConfig");
    if (root == nullptr) {
        throw ConfigurationError(owner, "Invalid root node in " + path, "");
    }
    readEndpoints(*root);
    readPlugins(*root);
    readResources(*root);
    readPaths(*root);
    for (const XmlNode* const element : childElements(*root, "TarnProtocolDevice")) {
        readDevice(*element);
    }
    for (const XmlNode* const element : childElements(*root, "DeltacastService")) {
        readDeltacastService(*element);
    }
    for (const XmlNode* const element : childElements(*root, "Storage")) {
        readStorage(*element);
    }
}

void ConfigurationFileReader::readEndpoints(const XmlNode& root) {
    for (const XmlNode* const section : childElements(root, "Endpoints")) {
        takeText(*section, "RequestsEndpoint", settings.requestsEndpoint);
        takeText(*section, "EventsEndpoint", settings.eventsEndpoint);
        takeText(*section, "ResourcesEndpoint", settings.resourcesEndpoint);
    }
}

void ConfigurationFileReader::readPlugins(const XmlNode& root) {
    for (const XmlNode* const section : childElements(root, "KLN")) {
        for (const XmlNode* const plugin : childElements(*section, "Plugin")) {
            if (auto text = elementContent(*plugin)) {
                settings.plugins.push_back(std::move(*text));
            }
        }
    }
}

void ConfigurationFileReader::readResources(const XmlNode& root) {
    for (const XmlNode* const section : childElements(root, "Resources")) {
        for (const XmlNode* const element : childElements(*section, "TcpPorts")) {
            readTcpPorts(*element);
        }
    }
}

// Only the low 16 bits of the ports count, on purpose.
void ConfigurationFileReader::readTcpPorts(const XmlNode& element) {
    const std::string interface =
        requiredAttribute(element, "interface", "Missing \"interface\" attribute in TcpPorts node");
    const std::string fromText =
        requiredAttribute(element, "from", "Missing \"from\" attribute in TcpPorts node");
    const std::string toText =
        requiredAttribute(element, "to", "Missing \"to\" attribute in TcpPorts node");
    const auto to = static_cast<std::uint16_t>(attributeToInt(element, "to", toText));
    const auto from = static_cast<std::uint16_t>(attributeToInt(element, "from", fromText));
    settings.tcpPortRanges[interface] = {from, to};
}

void ConfigurationFileReader::readPaths(const XmlNode& root) {
    for (const XmlNode* const section : childElements(root, "Paths")) {
        takeText(*section, "WorkflowLauncher", settings.workflowLauncher);
        takeText(*section, "EngineLauncher", settings.engineLauncher);
        takeText(*section, "PersistentJobsFolder", settings.persistentJobsFolder);
        takeText(*section, "PersistentDeltacastConfigurationFile",
                 settings.persistentDeltacastConfigurationFile);
    }
}

void ConfigurationFileReader::readDevice(const XmlNode& element) {
    const XmlNode* const monitoring = firstChildElement(element, "MonitoringInterface");
    const auto endpoint = monitoring == nullptr ? std::nullopt : elementContent(*monitoring);
    if (!endpoint) {
        throw ConfigurationError(
            owner, "Missing \"MonitoringInterface\" node in TarnProtocolDevice", element);
    }
    const bool deltacast = attributeValue(element, "type") == "Deltacast";
    settings.devices.push_back(
        {deltacast ? TarnDeviceType::DELTACAST : TarnDeviceType::GENERIC, *endpoint});
}

void ConfigurationFileReader::readDeltacastService(const XmlNode& element) {
    auto service = std::make_shared<DeltacastServiceConfigurationHandler>();
    service->readXml(element);
    settings.deltacastServices.push_back(std::move(service));
}

void ConfigurationFileReader::readStorage(const XmlNode& element) {
    if (attributeValue(element, "type") != "LoopStorage") {
        return;
    }
    auto storage = std::make_shared<LoopStorageConfigurationHandler>();
    storage->readXml(element);
    settings.loopStorages.push_back(std::move(storage));
}

std::string ConfigurationFileReader::requiredAttribute(const XmlNode& element, const char* name,
                                                       const char* missing) const {
    auto text = attributeValue(element, name);
    if (!text) {
        throw ConfigurationError(owner, missing, element);
    }
    return *text;
}

}  // namespace tarn::service::configuration
