#include "service/configuration/check/ContentChecks.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "platform/socket/SocketEndpoint.h"
#include "platform/utils/Printable.h"
#include "service/configuration/DeltacastServiceConfigurationHandler.h"
#include "service/configuration/xml/Replace.h"

namespace tarn::service::configuration {

namespace {

ConfigurationProblem problemAt(const XmlNode& element, ProblemSeverity severity,
                               const std::string& text) {
    return {.severity = severity,
            .text = text,
            .element = elementName(element),
            .line = elementLine(element)};
}

/// All `section`/`name` elements with content, in file order.
std::vector<const XmlNode*> elementsWithContent(const XmlNode& root, const char* section,
                                                const char* name) {
    std::vector<const XmlNode*> found;
    for (const XmlNode* const parent : childElements(root, section)) {
        for (const XmlNode* const element : childElements(*parent, name)) {
            if (elementContent(*element)) {
                found.push_back(element);
            }
        }
    }
    return found;
}

void checkEndpoint(const XmlNode& element, ProblemList& problems) {
    try {
        socket::SocketEndpoint::FromString(elementContent(element).value_or(""));
    } catch (const std::exception& failure) {
        problems.add(problemAt(element, ProblemSeverity::Error,
                               elementName(element) + " cannot be used: " + failure.what()));
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
        problems.add(
            problemAt(element, ProblemSeverity::Warning,
                      "Plugin " + utils::quotedText(path) + " cannot be loaded: " + reason));
    }
}

/// Whatever the reader got to: looks at the element that counts, else at the built-in path.
void checkLauncher(const XmlNode& root, const char* name, const std::string& builtIn,
                   ProblemList& problems) {
    const auto elements = elementsWithContent(root, "Paths", name);
    const XmlNode* const element = elements.empty() ? nullptr : elements.back();
    const std::string path = element == nullptr ? builtIn : elementContent(*element).value_or("");
    const bool isPath = path.find('/') != std::string::npos;
    const std::string reason = isPath ? problemOfFile(path, X_OK) : "";
    if (!reason.empty()) {
        problems.add({.severity = ProblemSeverity::Warning,
                      .text = std::string(name) + " " + utils::quotedText(path) +
                              " cannot be run: " + reason,
                      .element = name,
                      .line = element == nullptr ? 0 : elementLine(*element)});
    }
}

std::optional<int> toInt(const std::string& text) {
    try {
        return std::stoi(text);
    } catch (const std::logic_error&) {
        return std::nullopt;  // the reader has told
    }
}

void checkPort(const XmlNode& element, const char* name, ProblemList& problems) {
    const std::string text = attributeValue(element, name).value_or("");
    const auto number = toInt(text);
    if (number && (*number < 1 || *number > std::numeric_limits<std::uint16_t>::max())) {
        problems.add(problemAt(element, ProblemSeverity::Warning,
                               std::string("TcpPorts attribute \"") + name + "\" is used as " +
                                   std::to_string(static_cast<std::uint16_t>(*number)) + ": " +
                                   utils::quotedText(text)));
    }
}

std::vector<const XmlNode*> portElements(const XmlNode& root) {
    std::vector<const XmlNode*> found;
    for (const XmlNode* const section : childElements(root, "Resources")) {
        const auto elements = childElements(*section, "TcpPorts");
        found.insert(found.end(), elements.begin(), elements.end());
    }
    return found;
}

/// Of the last one, which is the one that counts.
unsigned lineOfRange(const std::vector<const XmlNode*>& elements, const std::string& interface) {
    const auto found = std::find_if(elements.rbegin(), elements.rend(), [&](const auto* element) {
        return attributeValue(*element, "interface") == interface;
    });
    return found == elements.rend() ? 0 : elementLine(**found);
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
        problems.add(problemAt(*firstChildElement(service, name), ProblemSeverity::Error,
                               "The command line cannot be filled with " +
                                   utils::quotedText(value) + " in the place of " + placeholder));
    }
}

}  // namespace

void checkEndpoints(const XmlNode& root, ProblemList& problems) {
    for (const char* const name : {"RequestsEndpoint", "EventsEndpoint", "ResourcesEndpoint"}) {
        const auto elements = elementsWithContent(root, "Endpoints", name);
        if (!elements.empty()) {
            checkEndpoint(*elements.back(), problems);
        }
    }
    for (const XmlNode* const device : childElements(root, "TarnProtocolDevice")) {
        if (problems.isFull()) {
            return;
        }
        const XmlNode* const monitoring = firstChildElement(*device, "MonitoringInterface");
        if (monitoring != nullptr && elementContent(*monitoring)) {
            checkEndpoint(*monitoring, problems);
        }
    }
}

void checkPortRanges(const XmlNode& root, const ConfigurationSettings& settings,
                     ProblemList& problems) {
    const auto elements = portElements(root);
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

void checkFiles(const XmlNode& root, ProblemList& problems) {
    ConfigurationSettings builtIn;
    builtIn.reset();
    checkLauncher(root, "WorkflowLauncher", builtIn.workflowLauncher, problems);
    checkLauncher(root, "EngineLauncher", builtIn.engineLauncher, problems);
    for (const XmlNode* const plugin : elementsWithContent(root, "KLN", "Plugin")) {
        if (problems.isFull()) {
            return;
        }
        checkPlugin(*plugin, problems);
    }
}

}  // namespace tarn::service::configuration
