#include <cstdio>
#include <nlohmann/json.hpp>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/support/DeviceProcess.h"
#include "benchmarks/support/MonitoredService.h"
#include "benchmarks/support/ProcessFigures.h"

namespace tarn::benchmarks {

namespace {

constexpr int nodes = 10000;

void compare(const std::string& what, MonitoredService& service, int deviceSize) {
    const ProcessFigures process("TarnService");
    service.fill(deviceSize, deviceSize);
    const long before = process.residentKilobytes();
    service.fill(nodes, deviceSize);
    const long after = process.residentKilobytes();
    const nlohmann::ordered_json line = {
        {"benchmark", "memory of the service with 10000 nodes more, " + what},
        {"resident_before_kB", before},
        {"resident_after_kB", after},
        {"bytes_a_node", 1024.0 * static_cast<double>(after - before) / nodes},
    };
    std::puts(line.dump().c_str());
}

}  // namespace

void measureDeviceMemory() {
    const DeviceProcess device(1, DeviceProcess::Kind::SendsEvents);
    MonitoredService service;
    compare("in devices of 10", service, 10);
}

}  // namespace tarn::benchmarks
