#include "benchmarks/support/MonitoredService.h"

#include <algorithm>
#include <stdexcept>

#include "benchmarks/support/DeviceEvents.h"
#include "benchmarks/support/DeviceProcess.h"
#include "benchmarks/support/SampleNode.h"

namespace tarn::benchmarks {

namespace {

constexpr std::chrono::seconds patience{30};

}  // namespace

device_tree::DeviceNode sampleDevice(int first, int count) {
    auto device = sampleNode(idOf(first));
    for (int number = first + 1; number < first + count; ++number) {
        std::string error;
        device.addSubDevice(std::make_shared<device_tree::DeviceNode>(sampleNode(idOf(number))),
                            /*replace=*/true, error);
    }
    return device;
}

// What is sent before the service listens waits in the queue.
MonitoredService::MonitoredService()
    : subscriber(BareSocket::Kind::Subscribe, published, context),
      events(BareSocket::Kind::Push, DeviceProcess::eventEndpointOf(0), context) {
    std::string first;
    if (!subscriber.receive(first)) {  // from then on it misses nothing
        throw std::runtime_error("the gateway does not publish");
    }
    fill(1, 1);
}

std::string MonitoredService::awaitBatch(const std::string& device, Clock::time_point& arrival) {
    const auto deadline = Clock::now() + patience;
    std::string batch;
    while (Clock::now() < deadline) {
        if (subscriber.receive(batch)) {
            arrival = Clock::now();
            if (announces(batch, device)) {
                return batch;
            }
        }
    }
    throw std::runtime_error("no batch tells of " + device);
}

void MonitoredService::passOver() {
    std::string batch;
    while (subscriber.receive(batch, std::chrono::milliseconds(0))) {
    }
}

void MonitoredService::add(const device_tree::DeviceNode& device) {
    devices.push_back(device.getId());
    send(addEvent(device));
}

void MonitoredService::fill(int nodes, int deviceSize) {
    for (const auto& id : devices) {
        send(removeEvent(id));
    }
    devices.clear();
    filled = nodes;
    for (int first = 0; first < nodes; first += deviceSize) {
        add(sampleDevice(first, std::min(deviceSize, nodes - first)));
    }
    Clock::time_point ignored;
    awaitBatch(devices.back(), ignored);
}

std::vector<std::string> MonitoredService::nodes() const {
    std::vector<std::string> ids;
    for (int number = 0; number < filled; ++number) {
        ids.push_back(idOf(number));
    }
    return ids;
}

}  // namespace tarn::benchmarks
