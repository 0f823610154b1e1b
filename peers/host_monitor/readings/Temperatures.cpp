#include "peers/host_monitor/readings/Temperatures.h"

#include <algorithm>
#include <string_view>

#include "peers/host_monitor/readings/KernelFiles.h"
#include "peers/host_monitor/readings/Text.h"

namespace tarn::peers::host_monitor {

namespace {

namespace fs = std::filesystem;

// What is not connected says -128 or 255, or the like.
constexpr double coldest = -100;
constexpr double hottest = 250;
constexpr std::size_t longestName = 64;

std::optional<double> readDegrees(const fs::path& file) {
    const auto thousandths = toSigned(readWord(file).value_or(""));
    const double degrees = static_cast<double>(thousandths.value_or(0)) / 1000;
    const bool isPlausible = thousandths && degrees > coldest && degrees < hottest;
    return isPlausible ? std::optional(degrees) : std::nullopt;
}

// Zero is how a driver says that it knows of none.
std::optional<double> readLimit(const fs::path& file) {
    const auto degrees = readDegrees(file);
    return degrees && *degrees > 0 ? degrees : std::nullopt;
}

std::string readName(const fs::path& file, const std::string& otherwise) {
    const auto name = readWord(file).value_or("");
    return name.empty() ? otherwise : name.substr(0, longestName);
}

// "temp1" for "temp1_input".
std::optional<std::string> sensorOf(std::string_view fileName) {
    constexpr std::string_view ending = "_input";
    const bool isSensor = fileName.starts_with("temp") && fileName.ends_with(ending);
    return isSensor
               ? std::optional(std::string(fileName.substr(0, fileName.size() - ending.size())))
               : std::nullopt;
}

void appendSensors(const fs::path& chip, std::vector<Temperature>& temperatures) {
    for (const auto& file : namesIn(chip)) {
        const auto sensor = sensorOf(file);
        const auto degrees = sensor ? readDegrees(chip / file) : std::nullopt;
        if (!degrees) {
            continue;
        }
        const auto folder = chip.filename().string();
        temperatures.push_back({.id = folder + "." + *sensor,
                                .name = readName(chip / "name", folder) + " " +
                                        readName(chip / (*sensor + "_label"), *sensor),
                                .degrees = *degrees,
                                .high = readLimit(chip / (*sensor + "_max")),
                                .critical = readLimit(chip / (*sensor + "_crit"))});
    }
}

std::optional<double> criticalPoint(const fs::path& zone, const std::vector<std::string>& files) {
    constexpr std::string_view ending = "_type";
    for (const auto& file : files) {
        if (file.starts_with("trip_point_") && file.ends_with(ending) &&
            readWord(zone / file) == "critical") {
            return readLimit(zone / (file.substr(0, file.size() - ending.size()) + "_temp"));
        }
    }
    return std::nullopt;
}

void appendZone(const fs::path& zone, std::vector<Temperature>& temperatures) {
    const auto files = namesIn(zone);
    const bool isSensorToo = std::any_of(files.begin(), files.end(), [](const std::string& file) {
        return file.starts_with("hwmon");
    });
    const auto degrees = isSensorToo ? std::nullopt : readDegrees(zone / "temp");
    if (degrees) {
        const auto folder = zone.filename().string();
        temperatures.push_back({.id = folder,
                                .name = readName(zone / "type", folder),
                                .degrees = *degrees,
                                .high = std::nullopt,
                                .critical = criticalPoint(zone, files)});
    }
}

}  // namespace

std::vector<Temperature> readTemperatures(const fs::path& root) {
    std::vector<Temperature> temperatures;
    const auto chips = root / "sys/class/hwmon";
    for (const auto& chip : namesIn(chips)) {
        appendSensors(chips / chip, temperatures);
    }
    const auto zones = root / "sys/class/thermal";
    for (const auto& zone : namesIn(zones)) {
        if (zone.starts_with("thermal_zone")) {
            appendZone(zones / zone, temperatures);
        }
    }
    return temperatures;
}

}  // namespace tarn::peers::host_monitor
