#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <system_error>
#include <variant>
#include <vector>

#include "platform/access/ClientKeys.h"
#include "platform/keys/SecretKeyFile.h"
#include "platform/os/SmallFile.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/socket/TcpProtection.h"
#include "platform/utils/Printable.h"
#include "service/configuration/DeltacastServiceConfigurationHandler.h"
#include "service/configuration/LimitsElement.h"
#include "service/configuration/SettingsTable.h"
#include "service/configuration/check/ElementChecks.h"
#include "service/configuration/check/StorageChecks.h"
#include "service/configuration/xml/Replace.h"
#include "service/configuration/xml/XmlNumber.h"

namespace tarn::service::configuration {

namespace {

using Elements = std::vector<const XmlNode*>;

/// All of a setting, in file order.
Elements elementsOf(const SettingsSection& section, const Setting& setting, const XmlNode& root) {
    Elements found;
    for (const XmlNode* const parent : childElements(root, section.name)) {
        auto children = childElements(*parent, setting.name.c_str());
        if (section.take != nullptr && children.size() > 1) {
            children.resize(1);  // such a section takes the first of each
        }
        found.insert(found.end(), children.begin(), children.end());
    }
    return found;
}

/// Those of them that the service uses the text of.
Elements elementsThatCount(const SettingsSection& section, const Setting& setting,
                           const XmlNode& root) {
    auto found = elementsOf(section, setting, root);
    std::erase_if(found, [](const XmlNode* element) { return !elementContent(*element); });
    const bool isText =
        std::holds_alternative<std::string ConfigurationSettings::*>(setting.target);
    if (isText && found.size() > 1) {
        found.erase(found.begin(), found.end() - 1);
    }
    return found;
}

void checkEndpoint(const XmlNode& element, ProblemList& problems) {
    try {
        socket::SocketEndpoint::FromString(elementContent(element).value_or(""));
    } catch (const std::exception& failure) {
        problems.add(element, ProblemSeverity::Error,
                     elementName(element) + " cannot be used: " + failure.what());
    }
}

void checkReach(const XmlNode& element, const SecuritySettings& security, ProblemList& problems) {
    try {
        const auto endpoint =
            socket::SocketEndpoint::FromString(elementContent(element).value_or(""));
        if (security.keyFile.empty() && socket::isBeyondThisMachine(endpoint)) {
            problems.add(element, ProblemSeverity::Error,
                         security.required ? socket::refusalOfPlain(endpoint)
                                           : socket::warningOfPlain(endpoint));
        }
    } catch (const std::invalid_argument&) {
        return;  // of an endpoint that cannot be used checkEndpoint has told
    }
}

void checkKeyFile(const XmlNode& element, ProblemList& problems) {
    try {
        keys::readSecretKeyFile(elementContent(element).value_or(""));
    } catch (const keys::KeyFileError& failure) {
        problems.add(element, ProblemSeverity::Error, failure.what());
    }
}

void checkClientKeys(const XmlNode& element, ProblemList& problems) {
    const std::string path = elementContent(element).value_or("");
    const auto content = os::readBeginning(path, access::largestListFile);
    if (!content) {
        problems.add(element, ProblemSeverity::Error,
                     utils::quotedText(path) + " cannot be read: nobody can connect");
        return;
    }
    for (const auto& problem : access::parseClientKeys(*content).problems) {
        problems.add(element, ProblemSeverity::Error, path + " " + problem);
    }
}

/// Empty when it is a file that this process has `access` to (R_OK, X_OK).
std::string problemOfFile(const std::string& path, int access) {
    struct stat info = {};
    if (::stat(path.c_str(), &info) != 0) {
        return std::generic_category().message(errno);
    }
    if (!S_ISREG(info.st_mode)) {
        return "not a file";
    }
    return ::access(path.c_str(), access) == 0 ? "" : std::generic_category().message(errno);
}

void checkPlugin(const XmlNode& element, ProblemList& problems) {
    const std::string path = elementContent(element).value_or("");
    const bool isPath = path.find('/') != std::string::npos;
    const std::string reason = isPath ? problemOfFile(path, R_OK) : "";
    if (!reason.empty()) {
        problems.add(element, ProblemSeverity::Warning,
                     "Plugin " + utils::quotedText(path) + " cannot be loaded: " + reason);
    }
}

/// Where there is none, the built-in path counts.
void checkLauncher(const SettingsSection& section, const Setting& setting, const XmlNode& root,
                   ProblemList& problems) {
    const auto elements = elementsThatCount(section, setting, root);
    const XmlNode* const element = elements.empty() ? nullptr : elements.back();
    const auto builtIn = std::get<std::string ConfigurationSettings::*>(setting.target);
    const std::string path = element == nullptr ? ConfigurationSettings().*builtIn
                                                : elementContent(*element).value_or("");
    const bool isPath = path.find('/') != std::string::npos;
    const std::string reason = isPath ? problemOfFile(path, X_OK) : "";
    if (!reason.empty()) {
        problems.add(
            {.severity = ProblemSeverity::Warning,
             .text = setting.name + " " + utils::quotedText(path) + " cannot be run: " + reason,
             .element = setting.name,
             .line = element == nullptr ? 0 : elementLine(*element)});
    }
}

void checkPort(const XmlNode& element, const char* name, ProblemList& problems) {
    const std::string text = attributeValue(element, name).value_or("");
    const auto number = textToInt(text);  // of what is none the reader has told
    if (number && (*number < 1 || *number > std::numeric_limits<std::uint16_t>::max())) {
        problems.add(element, ProblemSeverity::Warning,
                     std::string("TcpPorts attribute \"") + name + "\" is used as " +
                         std::to_string(static_cast<std::uint16_t>(*number)) + ": " +
                         utils::quotedText(text));
    }
}

/// Of the last one, which is the one that counts.
unsigned lineOfRange(const Elements& elements, const std::string& interface) {
    const auto found = std::find_if(elements.rbegin(), elements.rend(), [&](const auto* element) {
        return attributeValue(*element, "interface") == interface;
    });
    return found == elements.rend() ? 0 : elementLine(**found);
}

void checkPortRanges(const Elements& elements, const ConfigurationSettings& settings,
                     ProblemList& problems) {
    for (const XmlNode* const element : elements) {
        if (problems.isFull()) {
            return;
        }
        checkPort(*element, "from", problems);
        checkPort(*element, "to", problems);
    }
    for (const auto& [interface, ports] : settings.tcpPortRanges) {
        if (ports.first > ports.second && !problems.isFull()) {
            problems.add({.severity = ProblemSeverity::Warning,
                          .text = "TcpPorts of interface " + utils::quotedText(interface) +
                                  " run downwards, from " + std::to_string(ports.first) + " to " +
                                  std::to_string(ports.second),
                          .element = "TcpPorts",
                          .line = lineOfRange(elements, interface)});
        }
    }
}

void checkEach(const Elements& elements, void (*check)(const XmlNode&, ProblemList&),
               ProblemList& problems) {
    for (const XmlNode* const element : elements) {
        if (problems.isFull()) {
            return;
        }
        check(*element, problems);
    }
}

void checkLimits(const XmlNode& element, ProblemList& problems) {
    socket::Limits ignored;
    readLimits(element, ignored, [&](const std::string& problem) {
        problems.add(element, ProblemSeverity::Error, problem);
    });
}

std::string contentOfFirst(const XmlNode& parent, const char* name) {
    const XmlNode* const element = firstChildElement(parent, name);
    return element == nullptr ? "" : elementContent(*element).value_or("");
}

void checkInputList(const XmlNode& service, const char* name, const char* placeholder,
                    const std::string& commandLine, ProblemList& problems) {
    constexpr auto longest = DeltacastServiceConfigurationHandler::longestCommandLine;
    const std::string value = contentOfFirst(service, name);
    if (!replaceWithin(commandLine, placeholder, value, longest)) {
        problems.add(*firstChildElement(service, name), ProblemSeverity::Error,
                     "The command line cannot be filled with " + utils::quotedText(value) +
                         " in the place of " + placeholder);
    }
}

// Whatever the reader got to, each list by itself: the other values cannot be wrong in this way.
void checkInputLists(const XmlNode& root, ProblemList& problems) {
    using Service = DeltacastServiceConfigurationHandler;
    for (const XmlNode* const service : childElements(root, "DeltacastService")) {
        if (problems.isFull()) {
            return;
        }
        const std::string line = contentOfFirst(*service, "CommandLine");
        checkInputList(*service, "DefaultBoard0InputList", Service::inputListPlaceholder, line,
                       problems);
        checkInputList(*service, "DefaultBoard0InputFrameOffsetList",
                       Service::frameOffsetPlaceholder, line, problems);
    }
}

}  // namespace

void checkContents(const XmlNode& root, const ConfigurationSettings& settings,
                   ProblemList& problems) {
    for (const auto& section : settingsTable()) {
        for (const auto& setting : section.settings) {
            switch (setting.content) {
                case Content::Free:
                    break;
                case Content::Endpoint:
                    checkEach(elementsThatCount(section, setting, root), checkEndpoint, problems);
                    for (const XmlNode* const one : elementsThatCount(section, setting, root)) {
                        checkReach(*one, settings.security, problems);
                    }
                    break;
                case Content::KeyFile:
                    checkEach(elementsThatCount(section, setting, root), checkKeyFile, problems);
                    break;
                case Content::ClientKeys:
                    checkEach(elementsThatCount(section, setting, root), checkClientKeys, problems);
                    break;
                case Content::StorageCertificate:
                    checkEach(elementsThatCount(section, setting, root), checkStorageCertificate,
                              problems);
                    break;
                case Content::Program:
                    checkLauncher(section, setting, root, problems);
                    break;
                case Content::Library:
                    checkEach(elementsThatCount(section, setting, root), checkPlugin, problems);
                    break;
                case Content::Limits:
                    checkEach(elementsOf(section, setting, root), checkLimits, problems);
                    break;
                case Content::PortRange:
                    checkPortRanges(elementsOf(section, setting, root), settings, problems);
                    break;
            }
        }
    }
    checkInputLists(root, problems);
    checkStorages(root, settings.security, problems);
}

}  // namespace tarn::service::configuration
