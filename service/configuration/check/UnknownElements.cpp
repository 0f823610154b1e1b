#include <algorithm>
#include <string>
#include <vector>

#include "platform/utils/Printable.h"
#include "service/configuration/SettingsTable.h"
#include "service/configuration/check/ElementChecks.h"

namespace tarn::service::configuration {

namespace {

const SettingsSection* sectionOf(const XmlNode& element) {
    const auto& known = settingsTable();
    const auto found = std::find_if(known.begin(), known.end(), [&](const auto& section) {
        return hasName(element, section.name);
    });
    return found == known.end() ? nullptr : &*found;
}

bool isKnown(const XmlNode& element, const SettingsSection& section) {
    return std::any_of(section.settings.begin(), section.settings.end(),
                       [&](const Setting& setting) { return hasName(element, setting.name); });
}

void addIgnored(const XmlNode& element, const XmlNode& parent, ProblemList& problems) {
    problems.add(element, ProblemSeverity::Warning,
                 "Unknown element " + utils::quotedText(elementName(element)) + " in " +
                     utils::quotedText(elementName(parent)) + " is ignored");
}

bool isIgnoredStorage(const XmlNode& element) {
    return hasName(element, "Storage") && attributeValue(element, "type") != "LoopStorage";
}

void findInSection(const XmlNode& element, const SettingsSection& section, ProblemList& problems) {
    if (isIgnoredStorage(element)) {
        problems.add(element, ProblemSeverity::Warning,
                     "Storage is ignored: its type is not \"LoopStorage\"");
        return;
    }
    for (const XmlNode* const child : allChildElements(element)) {
        if (problems.isFull()) {
            return;
        }
        if (!isKnown(*child, section)) {
            addIgnored(*child, element, problems);
        }
    }
}

}  // namespace

void findUnknownElements(const XmlNode& root, ProblemList& problems) {
    for (const XmlNode* const element : allChildElements(root)) {
        if (problems.isFull()) {
            return;
        }
        if (const SettingsSection* const section = sectionOf(*element)) {
            findInSection(*element, *section, problems);
        } else {
            addIgnored(*element, root, problems);
        }
    }
}

}  // namespace tarn::service::configuration
