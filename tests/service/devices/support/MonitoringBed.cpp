#include "tests/service/devices/support/MonitoringBed.h"

#include <stdexcept>

#include "service/devices/protocol/TarnProtocolDeviceController.h"

namespace tarn::test {

using device_tree::DeviceNode;
using service::devices::TarnProtocolDeviceController;

namespace {

std::string deviceSections(const std::vector<std::string>& endpoints) {
    std::string sections;
    for (const auto& endpoint : endpoints) {
        sections += "<TarnProtocolDevice type=\"Generic\"><MonitoringInterface>" + endpoint +
                    "</MonitoringInterface></TarnProtocolDevice>";
    }
    return sections;
}

void hurry(std::chrono::milliseconds duration, const std::stop_token& stop) {
    service::devices::realPause(duration / 100, stop);
}

service::devices::RefusedDevices::Time hurriedNow() {
    return service::devices::RefusedDevices::Time(
        std::chrono::steady_clock::now().time_since_epoch() * 100);
}

}  // namespace

MonitoringBed::MonitoringBed(const std::vector<std::string>& endpoints)
    : bed(deviceSections(endpoints)),
      manager({bed.configuration, listener, emitter,
               [this](const service::configuration::TarnDevice& device) {
                   return std::make_shared<TarnProtocolDeviceController>(
                       device.monitoringInterface, TarnProtocolDeviceController::Dependencies{
                                                       listener, hurry, answerWithin, &presence});
               }}),
      listener([this]() -> service::devices::DeviceManager& { return manager; }, hurriedNow) {
    emitter.startThread(socket::SocketEndpoint::FromString(batches.endpoint()));
    std::list<std::string> errors;
    if (!manager.initFromConfiguration(errors)) {
        throw std::runtime_error(errors.front());
    }
}

// Listener and controllers know each other: both are stopped before either is gone.
MonitoringBed::~MonitoringBed() {
    std::string ignored;
    listener.stop(ignored);
    manager.stopControllers();
}

void MonitoringBed::awaitTree(const std::function<bool(const DeviceNode&)>& isWanted) {
    const auto bound = std::chrono::steady_clock::now() + std::chrono::seconds(40);
    while (std::chrono::steady_clock::now() < bound) {
        const auto batch = batches.next();
        if (batch.has_device_tree() && isWanted(DeviceNode(batch.device_tree()))) {
            return;
        }
    }
    throw std::runtime_error("the tree stayed\n" + manager.debugString());
}

std::vector<DeviceNode> MonitoringBed::awaitDevices(std::size_t count) {
    std::vector<DeviceNode> found;
    awaitTree([&](const DeviceNode& tree) {
        found = tree.getSubDevices();
        return found.size() == count;
    });
    return found;
}

}  // namespace tarn::test
