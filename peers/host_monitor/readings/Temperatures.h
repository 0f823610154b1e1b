#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tarn::peers::host_monitor {

/// One sensor. In degrees Celsius.
struct Temperature {
    std::string id;    ///< of the sensor on this machine, "hwmon0.temp1"
    std::string name;  ///< "nvme Composite"
    double degrees = 0;
    std::optional<double> high;      ///< from where on it is too warm, if the sensor tells
    std::optional<double> critical;  ///< from where on it may take harm, likewise
};

/// The sensors of /sys/class/hwmon, and the zones of /sys/class/thermal that are not among them,
/// both below `root`. Sensors that tell nothing, or nonsense, are left out.
std::vector<Temperature> readTemperatures(const std::filesystem::path& root);

}  // namespace tarn::peers::host_monitor
