#include "peers/host_monitor/HostMonitorOptions.h"

#include <limits.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>

namespace tarn::peers::host_monitor {

namespace {

constexpr int usageError = 2;
constexpr double shortestInterval = 0.05;
constexpr double longestInterval = 3600;

std::string hostName() {
    std::array<char, HOST_NAME_MAX + 1> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 && name[0] != '\0' ? name.data()
                                                                               : "localhost";
}

// The library's own check of a range lets "nan" pass.
std::string checkInterval(const std::string& text) {
    double seconds = 0;
    const bool isNumber = CLI::detail::lexical_cast(text, seconds);
    const bool fits = isNumber && seconds >= shortestInterval && seconds <= longestInterval;
    return fits ? "" : "'" + text + "' is not between 0.05 and 3600 seconds";
}

}  // namespace

std::optional<HostMonitorOptions> parseHostMonitorOptions(int argc, const char* const* argv,
                                                          int& exitStatus) {
    HostMonitorOptions options;
    options.name = hostName();
    double seconds = 1;
    bool pollOnly = false;
    CLI::App app("Tells the service how this machine is: processors, memory, disks, network");
    app.add_option("--endpoint", options.endpoint, "Where the service asks")->capture_default_str();
    auto* const events = app.add_option("--event-endpoint", options.eventEndpoint,
                                        "Where the service is to listen for changes");
    events->capture_default_str();
    app.add_flag("--poll-only", pollOnly, "Sends no changes: the service has to ask")
        ->excludes(events);
    app.add_option("--interval", seconds, "Between two looks at the machine, in seconds")
        ->check(checkInterval, "FLOAT in [0.05 - 3600]")
        ->capture_default_str();
    app.add_option("--name", options.name, "What this machine is called; its id is Host-NAME")
        ->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        exitStatus = app.exit(end) == 0 ? 0 : usageError;
        return std::nullopt;
    }
    options.interval = std::chrono::milliseconds(static_cast<long>(seconds * 1000));
    if (pollOnly) {
        options.eventEndpoint.clear();
    }
    return options;
}

}  // namespace tarn::peers::host_monitor
