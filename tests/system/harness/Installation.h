#pragma once

#include <string>
#include <vector>

#include "tests/support/Process.h"

namespace tarn::test {

/// The installed server of the private machine: its configuration, and what it leaves behind. All
/// throw std::runtime_error when a file cannot be written.

/// /etc/TarnConfiguration.xml, for services that are started later.
void writeConfiguration(const std::string& text);
/// The same with `sections` inside the root element.
void writeConfigurationSections(const std::string& sections);

/// The service logs everything from level trace on to its error stream, where Service reads it.
void logEverything();

constexpr auto gatewayProgram = "/opt/halden/halden-tarn-gateway/bin/tarnGateway";
constexpr auto hostMonitorProgram = "/opt/halden/halden-tarn-host-monitor/bin/tarnHostMonitor";
constexpr auto ingestProgram =
    "/opt/halden/halden-kln-sdi-ingest-service/bin/KLN-SDI-Ingest-Service";
constexpr auto loopStorageProgram = "/opt/halden/halden-tarn-loop-storage/bin/tarnLoopStorage";

/// The command line of the installed tarnctl, and one run of it to its end.
std::vector<std::string> tarnctlCommand(std::vector<std::string> arguments);
ProcessResult tarnctl(std::vector<std::string> arguments,
                      std::chrono::milliseconds bound = std::chrono::seconds(40));

/// From then on the built-in settings hold.
void removeConfiguration();

/// Writes a file and makes it executable; returns its path.
std::string writeProgram(const std::string& path, const std::string& text);

/// The names of the socket files in /tmp.
std::vector<std::string> socketFiles();

/// The section of the configuration file that names a launcher that does nothing: written here.
std::string idleLauncher();

}  // namespace tarn::test
