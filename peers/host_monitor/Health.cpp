#include "peers/host_monitor/Health.h"

#include <algorithm>

#include "peers/host_monitor/readings/DiskSpace.h"
#include "peers/host_monitor/readings/MemoryInfo.h"
#include "peers/host_monitor/readings/NetworkInterfaces.h"
#include "peers/host_monitor/readings/Rounding.h"
#include "peers/host_monitor/readings/Temperatures.h"

namespace tarn::peers::host_monitor {

using tarn::device_tree::GlobalStatus;
using Level = GlobalStatus::Level;

namespace {

constexpr double fullDisk = 97;
constexpr double fillingDisk = 90;
constexpr double noMemory = 3;
constexpr double littleMemory = 10;
constexpr double nearCritical = 10;  // degrees below it, for sensors without a limit of their own

}  // namespace

GlobalStatus healthy() {
    return {Level::Ok, "In order"};
}

GlobalStatus healthOf(const DiskSpace& space) {
    const auto used = space.usedPercent();
    if (used > fullDisk) {
        return {Level::Error, "Almost full: over 97 % used"};
    }
    if (used > fillingDisk) {
        return {Level::Warning, "Filling up: over 90 % used"};
    }
    return healthy();
}

GlobalStatus healthOf(const MemoryInfo& memory) {
    const auto left =
        percentOf(static_cast<double>(memory.available), static_cast<double>(memory.total));
    if (left < noMemory) {
        return {Level::Error, "Almost used up: under 3 % available"};
    }
    if (left < littleMemory) {
        return {Level::Warning, "Running short: under 10 % available"};
    }
    return healthy();
}

GlobalStatus healthOf(const Temperature& reading) {
    if (reading.critical && reading.degrees >= *reading.critical) {
        return {Level::Error, "Critically hot"};
    }
    // Some drivers tell a limit above the critical one.
    const auto ownLimit = reading.high && (!reading.critical || *reading.high < *reading.critical);
    if (ownLimit && reading.degrees >= *reading.high) {
        return {Level::Warning, "Too warm"};
    }
    if (!ownLimit && reading.critical && reading.degrees >= *reading.critical - nearCritical) {
        return {Level::Warning, "Close to critically hot"};
    }
    return healthy();
}

GlobalStatus healthOf(const NetworkInterface& interface, CarrierHistory history) {
    if (interface.kind == NetworkInterface::Kind::Loopback || interface.state == "up") {
        return healthy();
    }
    if (history == CarrierHistory::Had) {
        return {Level::Warning, "The link is lost"};
    }
    return {Level::Ok, "Not in use"};
}

GlobalStatus worstOf(const std::vector<NamedHealth>& parts) {
    const auto worst = std::max_element(
        parts.begin(), parts.end(),
        [](const auto& a, const auto& b) { return a.status.level < b.status.level; });
    if (worst == parts.end() || worst->status.level <= Level::Ok) {
        return healthy();
    }
    return {worst->status.level, worst->name + ": " + worst->status.description};
}

}  // namespace tarn::peers::host_monitor
