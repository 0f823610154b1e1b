#pragma once

#include <string>
#include <vector>

namespace tarn::test {

/// The installed server of the private machine: its configuration, and what it leaves behind. All
/// throw std::runtime_error when a file cannot be written.

/// /etc/TarnConfiguration.xml, for services that are started later.
void writeConfiguration(const std::string& text);
/// The same with `sections` inside the root element.
void writeConfigurationSections(const std::string& sections);

/// The service logs everything from level trace on to its error stream, where Service reads it.
void logEverything();

/// From then on the built-in settings hold.
void removeConfiguration();

/// Writes a file and makes it executable; returns its path.
std::string writeProgram(const std::string& path, const std::string& text);

/// The names of the socket files in /tmp.
std::vector<std::string> socketFiles();

/// The section of the configuration file that names a launcher that does nothing: written here.
std::string idleLauncher();

}  // namespace tarn::test
