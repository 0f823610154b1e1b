#include "service/configuration/ConfigurationFileReader.h"

#include <utility>

#include "platform/utils/Log.h"
#include "service/configuration/ConfigurationError.h"
#include "service/configuration/ConfigurationFile.h"
#include "service/configuration/SettingsTable.h"
#include "service/configuration/xml/XmlDocument.h"

namespace tarn::service::configuration {

namespace {

void takeSetting(const Setting& setting, const XmlNode& element, ConfigurationSettings& settings,
                 const utils::IMessageFormatter& owner) {
    if (const auto* const take = std::get_if<TakeElement>(&setting.target)) {
        return (*take)(element, settings, owner);
    }
    auto text = elementContent(element);
    if (!text) {
        return;  // an empty element leaves everything as it is
    }
    if (const auto* const list =
            std::get_if<std::vector<std::string> ConfigurationSettings::*>(&setting.target)) {
        (settings.**list).push_back(std::move(*text));
    } else {
        settings.*std::get<std::string ConfigurationSettings::*>(setting.target) = std::move(*text);
    }
}

void takeSection(const SettingsSection& section, const XmlNode& element,
                 ConfigurationSettings& settings, const utils::IMessageFormatter& owner) {
    if (section.take != nullptr) {
        return section.take(element, settings, owner);
    }
    for (const auto& setting : section.settings) {
        for (const XmlNode* const child : childElements(element, setting.name.c_str())) {
            takeSetting(setting, *child, settings, owner);
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
    for (const auto& section : settingsTable()) {
        for (const XmlNode* const element : childElements(*root, section.name)) {
            takeSection(section, *element, settings, owner);
        }
    }
}

}  // namespace tarn::service::configuration
