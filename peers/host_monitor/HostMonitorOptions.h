#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "peers/device/DeviceOptions.h"

namespace tarn::program {
class CommandLine;
}

namespace tarn::peers::host_monitor {

struct HostMonitorOptions {
    DeviceEndpoints endpoints;
    std::chrono::milliseconds interval{1000};
    std::string name;  ///< of the machine
};

/// Nothing when the program is to end at once.
std::optional<HostMonitorOptions> parseHostMonitorOptions(program::CommandLine& line);

}  // namespace tarn::peers::host_monitor
