#include "service/configuration/SettingsTable.h"

#include <gmock/gmock.h>

#include "service/configuration/ConfigurationFileReader.h"
#include "service/configuration/check/ElementChecks.h"
#include "service/configuration/xml/XmlDocument.h"

namespace tarn::service::configuration {

namespace {

std::string element(const std::string& name, const std::string& content) {
    return "<" + name + ">" + content + "</" + name + ">";
}

ConfigurationSettings settingsOf(const std::string& sections) {
    const utils::MessageFormatter owner("Test");
    ConfigurationSettings settings;
    ConfigurationFileReader reader(settings, owner);
    reader.read(*reader.parse(element("TarnHubConfig", sections) + "\n", "a file"), "a file");
    return settings;
}

/// How many of the single-valued settings have this text.
std::size_t settingsWith(const std::string& text, const ConfigurationSettings& settings) {
    std::size_t count = 0;
    for (const auto& section : settingsTable()) {
        for (const auto& setting : section.settings) {
            const auto* const member =
                std::get_if<std::string ConfigurationSettings::*>(&setting.target);
            count += member != nullptr && settings.**member == text ? 1 : 0;
        }
    }
    return count;
}

}  // namespace

TEST(SettingsTableTest, TakesEachTextIntoOneSettingOfItsOwn) {
    for (const auto& section : settingsTable()) {
        for (const auto& setting : section.settings) {
            if (const auto* const member =
                    std::get_if<std::string ConfigurationSettings::*>(&setting.target)) {
                const auto settings =
                    settingsOf(element(section.name, element(setting.name, "a text")));
                EXPECT_EQ(settings.**member, "a text") << setting.name;
                EXPECT_EQ(settingsWith("a text", settings), 1U) << setting.name;
            }
        }
    }
}

TEST(SettingsTableTest, IsAllThatTheCheckTakesForKnown) {
    std::string sections;
    for (const auto& section : settingsTable()) {
        std::string elements;
        for (const auto& setting : section.settings) {
            elements += element(setting.name, "1");
        }
        sections += element(section.name, elements);
    }
    const auto file = element("TarnHubConfig", sections + "<Unheard/>") + "\n";
    const XmlDocument document(file);
    ProblemList problems;
    findUnknownElements(*firstChildElement(document.top(), "TarnHubConfig"), problems);
    std::vector<std::string> texts;
    for (const auto& problem : problems.inFileOrder()) {
        texts.push_back(problem.text);
    }
    EXPECT_THAT(texts, testing::ElementsAre("Storage is ignored: its type is not \"LoopStorage\"",
                                            "Unknown element \"Unheard\" in \"TarnHubConfig\" is "
                                            "ignored"));
}

}  // namespace tarn::service::configuration
