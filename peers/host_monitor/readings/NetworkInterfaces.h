#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace tarn::peers::host_monitor {

/// What has gone over an interface since it is there.
struct NetworkCounters {
    std::uint64_t receivedBytes = 0;
    std::uint64_t receiveErrors = 0;
    std::uint64_t sentBytes = 0;
    std::uint64_t sendErrors = 0;
};

struct NetworkInterface {
    enum class Kind { Loopback, Other };

    NetworkCounters counters;
    Kind kind = Kind::Other;
    std::string state = "unknown";  ///< "up", "down", "dormant", ...
    bool hasCarrier = false;
};

/// By name. From the text of /proc/net/dev; broken lines are left out.
std::map<std::string, NetworkCounters> parseNetworkCounters(std::string_view text);

/// By name: the counters of /proc/net/dev and the states of /sys/class/net, both below `root`.
std::map<std::string, NetworkInterface> readNetworkInterfaces(const std::filesystem::path& root);

}  // namespace tarn::peers::host_monitor
