#include "service/configuration/check/UnknownElements.h"

#include <algorithm>
#include <string>
#include <vector>

#include "platform/utils/Printable.h"

namespace tarn::service::configuration {

namespace {

struct Section {
    std::string name;
    std::vector<std::string> children;
};

const std::vector<Section>& knownSections() {
    static const std::vector<Section> sections = {
        {"Endpoints", {"RequestsEndpoint", "EventsEndpoint", "ResourcesEndpoint"}},
        {"KLN", {"Plugin"}},
        {"Resources", {"TcpPorts"}},
        {"Paths",
         {"WorkflowLauncher", "EngineLauncher", "PersistentJobsFolder",
          "PersistentDeltacastConfigurationFile"}},
        {"TarnProtocolDevice", {"MonitoringInterface"}},
        {"DeltacastService",
         {"CommandLine", "DefaultPixelFormat", "DefaultBoard0InputList",
          "DefaultBoard0InputFrameOffsetList", "DefaultLineCount", "DefaultFieldMode",
          "DefaultFrameRate"}},
        {"Storage", {"InterfaceType", "InterfaceAddress", "TcpPort"}},
    };
    return sections;
}

const Section* sectionOf(const XmlNode& element) {
    const auto found =
        std::find_if(knownSections().begin(), knownSections().end(),
                     [&](const Section& section) { return hasName(element, section.name); });
    return found == knownSections().end() ? nullptr : &*found;
}

bool isKnown(const XmlNode& element, const Section& section) {
    return std::any_of(section.children.begin(), section.children.end(),
                       [&](const std::string& name) { return hasName(element, name); });
}

ConfigurationProblem warning(const XmlNode& element, const std::string& text) {
    return {.severity = ProblemSeverity::Warning,
            .text = text,
            .element = elementName(element),
            .line = elementLine(element)};
}

ConfigurationProblem ignored(const XmlNode& element, const XmlNode& parent) {
    return warning(element, "Unknown element " + utils::quotedText(elementName(element)) + " in " +
                                utils::quotedText(elementName(parent)) + " is ignored");
}

bool isIgnoredStorage(const XmlNode& element) {
    return hasName(element, "Storage") && attributeValue(element, "type") != "LoopStorage";
}

void findInSection(const XmlNode& element, const Section& section, ProblemList& problems) {
    if (isIgnoredStorage(element)) {
        problems.add(warning(element, "Storage is ignored: its type is not \"LoopStorage\""));
        return;
    }
    for (const XmlNode* const child : allChildElements(element)) {
        if (problems.isFull()) {
            return;
        }
        if (!isKnown(*child, section)) {
            problems.add(ignored(*child, element));
        }
    }
}

}  // namespace

void findUnknownElements(const XmlNode& root, ProblemList& problems) {
    for (const XmlNode* const element : allChildElements(root)) {
        if (problems.isFull()) {
            return;
        }
        if (const Section* const section = sectionOf(*element)) {
            findInSection(*element, *section, problems);
        } else {
            problems.add(ignored(*element, root));
        }
    }
}

}  // namespace tarn::service::configuration
