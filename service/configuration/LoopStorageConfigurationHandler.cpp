#include "service/configuration/LoopStorageConfigurationHandler.h"

#include "platform/keys/Fingerprint.h"
#include "service/configuration/ConfigurationError.h"
#include "service/configuration/xml/XmlNumber.h"

namespace tarn::service::configuration {

LoopStorageConfigurationHandler::LoopStorageConfigurationHandler()
    : MessageFormatter("LoopStorageConfigurationHandler") {
    reset();
}

void LoopStorageConfigurationHandler::reset() {
    valid = false;
    tcpInterface = false;
    address.clear();
    port = 0;
    fingerprint.clear();
}

bool LoopStorageConfigurationHandler::parseXml(const XmlNode& node, std::string& error) {
    error.clear();
    try {
        readXml(node);
    } catch (const ConfigurationError& failure) {
        error = failure.what();
    }
    return error.empty();
}

void LoopStorageConfigurationHandler::readXml(const XmlNode& node) {
    reset();
    readInterfaceType(node);
    readAddress(node);
    if (tcpInterface) {
        readPort(node);
        readFingerprint(node);
    }
    valid = true;
}

const std::vector<std::string>& LoopStorageConfigurationHandler::elementNames() {
    static const std::vector<std::string> names = {"InterfaceType", "InterfaceAddress", "TcpPort",
                                                   "Fingerprint"};
    return names;
}

ConfigurationError LoopStorageConfigurationHandler::failure(const std::string& problem,
                                                            const XmlNode& where) const {
    return {*this, "LoopStorage configuration error: " + problem, where};
}

void LoopStorageConfigurationHandler::readInterfaceType(const XmlNode& node) {
    const XmlNode* const type = firstChildElement(node, "InterfaceType");
    if (type == nullptr) {
        throw failure("no InterfaceType node", node);
    }
    const std::string text = elementValue(*type);
    if (text != "tcp" && text != "unix") {
        throw failure("InterfaceType must be either tcp or unix", *type);
    }
    tcpInterface = text == "tcp";
}

void LoopStorageConfigurationHandler::readAddress(const XmlNode& node) {
    const XmlNode* const element = firstChildElement(node, "InterfaceAddress");
    if (element == nullptr) {
        throw failure("no InterfaceAddress node", node);
    }
    address = elementValue(*element);
    if (address.empty()) {
        throw failure("InterfaceAddress is empty", *element);
    }
}

void LoopStorageConfigurationHandler::readPort(const XmlNode& node) {
    const XmlNode* const element = firstChildElement(node, "TcpPort");
    if (element == nullptr) {
        throw failure("no TcpPort node on a tcp InterfaceType", node);
    }
    // Only the low 16 bits count, on purpose: 65537 is port 1.
    port = static_cast<std::uint16_t>(textToInt(elementValue(*element)).value_or(0));
    if (port == 0) {
        throw failure("invalid TcpPort value", *element);
    }
}

// Of none that is there, in whatever way, nobody may believe that it protects.
void LoopStorageConfigurationHandler::readFingerprint(const XmlNode& node) {
    const XmlNode* const element = firstChildElement(node, "Fingerprint");
    if (element == nullptr) {
        return;
    }
    const auto read = keys::fingerprintIn(elementValue(*element));
    if (!read) {
        throw failure("Fingerprint is not of 64 hexadecimal digits", *element);
    }
    fingerprint = *read;
}

std::string LoopStorageConfigurationHandler::toString() const {
    if (!valid) {
        return "Invalid";
    }
    return tcpInterface ? "TCP " + address + ":" + std::to_string(port) : "IPC " + address;
}

}  // namespace tarn::service::configuration
