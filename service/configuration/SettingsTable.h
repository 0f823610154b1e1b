#pragma once

#include <string>
#include <variant>
#include <vector>

#include "platform/utils/MessageFormatter.h"
#include "service/configuration/ConfigurationSettings.h"
#include "service/configuration/xml/XmlText.h"

namespace tarn::service::configuration {

/// Takes over an element that is more than a text. Throws as ConfigurationFileReader::read does,
/// with the header of `owner`.
using TakeElement = void (*)(const XmlNode& element, ConfigurationSettings& settings,
                             const utils::IMessageFormatter& owner);

/// What a setting must hold to be of use. The service takes any text; who checks a file looks.
enum class Content {
    Free,
    Endpoint,
    Program,
    Library,
    PortRange,
    Limits,
    KeyFile,
    ClientKeys,
    StorageCertificate,
};

/// An element of a section, and where its text goes: into the setting, of which the last text wins;
/// to the end of the list; or nowhere by itself.
struct Setting {
    using Target = std::variant<std::monostate, std::string ConfigurationSettings::*,
                                std::vector<std::string> ConfigurationSettings::*, TakeElement>;

    std::string name;
    Target target = {};
    Content content = Content::Free;
};

/// An element below the root, which may occur any number of times.
struct SettingsSection {
    const char* name;
    std::vector<Setting> settings;
    TakeElement take = nullptr;  ///< of a section that is one thing; else its settings are taken
};

/// Every element that the configuration file may have, in the order in which they are read. A
/// further setting is a member of ConfigurationSettings, a line here and an accessor of
/// ConfigurationHandler.
const std::vector<SettingsSection>& settingsTable();

}  // namespace tarn::service::configuration
