#include "peers/host_monitor/HostMonitorOptions.h"

#include <limits.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>

#include "platform/program/CommandLine.h"
#include "platform/program/Options.h"

namespace tarn::peers::host_monitor {

using socket::SocketEndpoint;

namespace {

std::string hostName() {
    std::array<char, HOST_NAME_MAX + 1> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 && name[0] != '\0' ? name.data()
                                                                               : "localhost";
}

}  // namespace

std::optional<HostMonitorOptions> parseHostMonitorOptions(program::CommandLine& line) {
    HostMonitorOptions options;
    options.endpoints = {SocketEndpoint::FromString("ipc:///tmp/host-monitor"),
                         SocketEndpoint::FromString("ipc:///tmp/host-monitor-events")};
    options.name = hostName();
    CLI::App app("Tells the service how this machine is: processors, memory, disks, network");
    addDeviceOptions(app, options.endpoints);
    program::addSeconds(app, "--interval", options.interval, {.least = 0.05, .most = 3600},
                        "Between two looks at the machine, in seconds from 0.05 to 3600");
    app.add_option("--name", options.name, "What this machine is called; its id is Host-NAME")
        ->capture_default_str();
    return line.parse(app) ? std::optional(std::move(options)) : std::nullopt;
}

}  // namespace tarn::peers::host_monitor
