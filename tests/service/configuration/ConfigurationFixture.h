#pragma once

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "service/configuration/ConfigurationHandler.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::service::configuration {

/// A handler whose plug-ins are only written down, and files to read into it.
class ConfigurationFixture : public testing::Test {
  protected:
    bool read(const std::string& content) {
        folder.write("configuration.xml", content);
        return handler.readConfigurationFile(path, error);
    }

    /// `sections` stand below the root element.
    bool readSections(const std::string& sections) {
        return read("<TarnHubConfig>\n" + sections + "\n</TarnHubConfig>\n");
    }

    bool readMissingFile() {
        path = (folder.path() / "missing.xml").string();
        return handler.readConfigurationFile(path, error);
    }

    std::pair<unsigned, unsigned> ports(const std::string& interface) const {
        std::uint16_t from = 1;
        std::uint16_t to = 1;
        handler.getTcpPortRange(interface, from, to);
        return {from, to};
    }

    const test::TemporaryFolder folder;
    const test::LogCapture log;
    std::vector<std::string> loaded;
    ConfigurationHandler handler{[this](const char* plugin) {
        loaded.emplace_back(plugin);
        return 0;
    }};
    std::string path = folder.path() / "configuration.xml";
    std::string error = "from before";
};

}  // namespace tarn::service::configuration
