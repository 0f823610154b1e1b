#include "service/configuration/JobCellSettings.h"

#include "service/configuration/ConfigurationError.h"
#include "service/configuration/xml/XmlNumber.h"

namespace tarn::service::configuration {

namespace {

using Owner = const utils::IMessageFormatter&;

constexpr auto defaultFolder = "/srv/tarn";

// Descriptors that others opened, and what runs the programs of web pages.
const std::vector<std::string>& elementsRefusedByDefault() {
    static const std::vector<std::string> names = {"fdsink", "fdsrc", "multifdsink", "wpesrc",
                                                   "wpevideosrc"};
    return names;
}

std::vector<std::string> textsOf(const XmlNode& section, const char* name) {
    std::vector<std::string> texts;
    for (const XmlNode* const child : childElements(section, name)) {
        if (auto text = elementContent(*child); text && !text->empty()) {
            texts.push_back(std::move(*text));
        }
    }
    return texts;
}

std::vector<std::string> foldersOf(const XmlNode& section, const char* name, Owner owner) {
    auto folders = textsOf(section, name);
    for (const auto& folder : folders) {
        if (!folder.starts_with('/')) {
            throw ConfigurationError(
                owner, std::string(name) + " must be an absolute path: " + folder, section);
        }
    }
    return folders;
}

int limitOf(const XmlNode& section, const char* name, Owner owner) {
    const XmlNode* const element = firstChildElement(section, name);
    if (element == nullptr) {
        return 0;
    }
    const int limit = textToInt(elementValue(*element)).value_or(0);
    if (limit <= 0) {
        throw ConfigurationError(owner, std::string(name) + " must be a number from 1 on",
                                 *element);
    }
    return limit;
}

}  // namespace

const std::vector<std::string>& jobCellElementNames() {
    static const std::vector<std::string> names = {"ReadFolder", "WriteFolder", "RefusedElement",
                                                   "User",       "MemoryMiB",   "Processes",
                                                   "Descriptors"};
    return names;
}

void readJobCell(const XmlNode& element, JobCellSettings& settings, Owner owner) {
    settings.isGiven = true;
    settings.isRequired = attributeValue(element, "required") == "true";
    settings.readFolders = foldersOf(element, "ReadFolder", owner);
    settings.writeFolders = foldersOf(element, "WriteFolder", owner);
    if (settings.writeFolders.empty()) {
        settings.writeFolders = {defaultFolder};
    }
    settings.refusedElements = textsOf(element, "RefusedElement");
    if (settings.refusedElements.empty()) {
        settings.refusedElements = elementsRefusedByDefault();
    }
    if (const XmlNode* const user = firstChildElement(element, "User")) {
        settings.user = elementValue(*user);
    }
    settings.memoryMiB = limitOf(element, "MemoryMiB", owner);
    settings.processes = limitOf(element, "Processes", owner);
    settings.descriptors = limitOf(element, "Descriptors", owner);
}

}  // namespace tarn::service::configuration
