#include "tests/system/harness/Installation.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace tarn::test {

namespace {

constexpr auto configurationFile = "/etc/TarnConfiguration.xml";
constexpr auto loggerConfiguration =
    "/opt/halden/halden-tarn-service/config/halden-tarn-service.logger.config";

// Everything, and to where the test reads it.
constexpr auto everythingToErrors = R"(
log4cplus.logger.halden-tarn-service=TRACE, console
log4cplus.additivity.halden-tarn-service=false
log4cplus.appender.console=log4cplus::ConsoleAppender
log4cplus.appender.console.logToStdErr=true
log4cplus.appender.console.ImmediateFlush=true
log4cplus.appender.console.layout=log4cplus::PatternLayout
log4cplus.appender.console.layout.ConversionPattern=%D{%H:%M:%S,%q} %-5p %m%n
)";

void write(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

}  // namespace

std::vector<std::string> tarnctlCommand(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "/opt/halden/halden-tarn-service/bin/tarnctl");
    return arguments;
}

ProcessResult tarnctl(std::vector<std::string> arguments, std::chrono::milliseconds bound) {
    return runProcess(tarnctlCommand(std::move(arguments)), {}, bound);
}

void removeConfiguration() {
    std::filesystem::remove(configurationFile);
}

void writeConfiguration(const std::string& text) {
    write(configurationFile, text);
}

void writeConfigurationSections(const std::string& sections) {
    writeConfiguration("<TarnHubConfig>\n" + sections + "\n</TarnHubConfig>\n");
}

void logEverything() {
    write(loggerConfiguration, everythingToErrors);
}

std::string writeProgram(const std::string& path, const std::string& text) {
    write(path, text);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
}

std::string idleLauncher() {
    const auto program = writeProgram("/tmp/does-nothing", "#!/bin/sh\nexit 0\n");
    return "<Paths><WorkflowLauncher>" + program + "</WorkflowLauncher></Paths>";
}

std::vector<std::string> socketFiles() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
        if (entry.is_socket()) {
            names.push_back(entry.path().filename().string());
        }
    }
    return names;
}

}  // namespace tarn::test
