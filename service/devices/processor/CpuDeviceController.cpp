#include "service/devices/processor/CpuDeviceController.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <numeric>
#include <sstream>
#include <system_error>
#include <utility>

#include "platform/device_tree/DeviceNode.h"
#include "platform/utils/Log.h"

namespace tarn::service::devices {

using device_tree::DeviceNode;
using device_tree::NamedStatus;
using device_tree::Property;

namespace {

constexpr std::chrono::seconds period{1};

// user, nice, system, idle, iowait, irq, softirq, steal, guest, guest_nice
using Counters = std::array<std::uint64_t, 10>;
constexpr std::size_t busyCounters = 3;

// What is missing counts as 0.
Counters parseCounters(const std::string& line) {
    std::istringstream text(line);
    std::string label;
    text >> label;
    Counters counters{};
    for (auto& counter : counters) {
        std::uint64_t value = 0;
        if (!(text >> value)) {
            break;
        }
        counter = value;
    }
    return counters;
}

}  // namespace

CpuDeviceController::CpuDeviceController(std::string statFile, Pause pause)
    : statFile(std::move(statFile)), pause(std::move(pause)), publisher(notifyEvent) {}

CpuDeviceController::~CpuDeviceController() {
    stopPollingThread();
}

std::string CpuDeviceController::messageHeader() const {
    return "CPU monitor";
}

void CpuDeviceController::stop() {
    stopPollingThread();
}

void CpuDeviceController::startPollingThread() {
    stopPollingThread();
    pollingThread.start([this](const std::stop_token& stop) { pollingThreadFunction(stop); });
}

void CpuDeviceController::stopPollingThread() {
    try {
        pollingThread.stop();
    } catch (const std::system_error& e) {
        utils::logError(formatMessage(std::string("Failed stopping polling thread: ") + e.what()));
    }
}

// The kernel counts guest time in user time too, and the time for interrupts counts as idle here:
// the percentage has always been defined so.
bool CpuDeviceController::getCurrentJiffies(double& busy, double& total) const {
    std::ifstream file(statFile);
    if (!file) {
        return false;
    }
    std::string line;
    std::getline(file, line);
    const auto counters = parseCounters(line);
    const auto* const firstIdle = counters.begin() + busyCounters;
    busy = static_cast<double>(std::accumulate(counters.begin(), firstIdle, std::uint64_t{0}));
    total = std::accumulate(firstIdle, counters.end(), busy, [](double sum, std::uint64_t counter) {
        return sum + static_cast<double>(counter);
    });
    return true;
}

void CpuDeviceController::pollingThreadFunction(const std::stop_token& stop) {
    if (!getCurrentJiffies(previousBusy, previousTotal)) {
        updateDeviceTree(nullptr);
        return;
    }
    while (!stop.stop_requested()) {
        pause(period, stop);
        if (!stop.stop_requested()) {
            sample();
        }
    }
}

void CpuDeviceController::sample() {
    double busy = 0;
    double total = 0;
    if (!getCurrentJiffies(busy, total)) {
        updateDeviceTree(nullptr);
        return;
    }
    auto node = std::make_shared<DeviceNode>("CPU", "CPU - experimental",
                                             device_tree::DeviceClass::Generic);
    node->addProperty(Property("NumCPUs", Property::Type::Text, "0"));  // not filled in
    if (total != previousTotal) {
        const double usage = (busy - previousBusy) / (total - previousTotal) * 100.0;
        node->addStatus(NamedStatus("CPUUsage", usage));
    }
    updateDeviceTree(node);
    previousBusy = busy;
    previousTotal = total;
}

void CpuDeviceController::updateDeviceTree(const std::shared_ptr<DeviceNode>& node) {
    publisher.updateDeviceTree(node);
}

}  // namespace tarn::service::devices
