#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace tarn::peers::host_monitor {

struct HostMonitorOptions {
    std::string endpoint = "ipc:///tmp/host-monitor";
    std::string eventEndpoint = "ipc:///tmp/host-monitor-events";  ///< empty: none, it is polled
    std::chrono::milliseconds interval{1000};
    std::string name;  ///< of the machine
};

/// Nothing when the program is to end now, after help (status 0) or a usage error (2) was printed.
std::optional<HostMonitorOptions> parseHostMonitorOptions(int argc, const char* const* argv,
                                                          int& exitStatus);

}  // namespace tarn::peers::host_monitor
