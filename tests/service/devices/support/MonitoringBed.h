#pragma once

#include <functional>
#include <string>
#include <vector>

#include "service/devices/DeviceEventListener.h"
#include "service/devices/DeviceManager.h"
#include "service/devices/DevicePresence.h"
#include "service/events/EventEmitter.h"
#include "tests/service/support/BatchReceiver.h"
#include "tests/service/support/ServiceBed.h"

namespace tarn::test {

/// The device monitoring of a service, running, in a hurry: the seconds of its controllers and of
/// its emitter are hundredths.
class MonitoringBed {
  public:
    /// Monitors the devices at these endpoints.
    explicit MonitoringBed(const std::vector<std::string>& endpoints);
    ~MonitoringBed();

    device_tree::DeviceNode tree() { return *manager.getTree().lock(); }

    /// Waits until a batch has such a tree. Throws when none comes within the bound.
    void awaitTree(const std::function<bool(const device_tree::DeviceNode&)>& isWanted);

    /// Waits until there are that many devices in the tree, and returns them.
    std::vector<device_tree::DeviceNode> awaitDevices(std::size_t count);

    static constexpr std::chrono::seconds answerWithin{2};

  private:
    ServiceBed bed;

  public:
    const LogCapture& log = bed.log;
    BatchReceiver batches;
    service::EventEmitter emitter{std::chrono::milliseconds(10)};
    service::devices::DevicePresence presence{[this](const std::string& id) {
        return manager.getTree().lock()->getSubDevice(id) != nullptr;
    }};
    service::devices::DeviceManager manager;
    service::devices::DeviceEventListener listener;
};

}  // namespace tarn::test
