#include "service/devices/DeviceManager.h"

#include <utility>

#include "platform/utils/Log.h"
#include "proto/service_event.pb.h"
#include "service/configuration/ConfigurationHandler.h"
#include "service/configuration/LoopStorageConfigurationHandler.h"
#include "service/devices/DeviceController.h"
#include "service/devices/DeviceEventListener.h"
#include "service/devices/capture/DeltacastDeviceController.h"
#include "service/devices/storage/LoopStorageDeviceController.h"
#include "service/events/EventEmitter.h"

namespace tarn::service::devices {

using configuration::TarnDevice;
using device_tree::DeviceClass;
using device_tree::DeviceNode;
using tarn::proto::service_event::ServiceEvent;
using tarn::proto::service_event::ServiceEventDeviceAdded;
using tarn::proto::service_event::ServiceEventDeviceChanged;
using tarn::proto::service_event::ServiceEventDeviceRemoved;

namespace {

DeviceNode emptyTree() {
    return {"System", "System", DeviceClass::System};
}

std::string problemOf(DeviceNode::StatusUpdate result) {
    switch (result) {
        case DeviceNode::StatusUpdate::NodeNotFound:
            return ": node not found";
        case DeviceNode::StatusUpdate::StatusNotFound:
            return ": status not found";
        case DeviceNode::StatusUpdate::Done:
            break;
    }
    return {};
}

template <typename Kind>
ServiceEvent makeEvent(ServiceEvent::Type type, const std::string& id, DeviceClass deviceClass) {
    ServiceEvent event;
    event.set_type(type);
    auto& kind = *event.MutableExtension(Kind::base);
    kind.set_device_id(id);
    kind.set_device_class(
        static_cast<tarn::proto::monitoring::DeviceNode::DeviceClass>(deviceClass));
    return event;
}

}  // namespace

DeviceManager::DeviceManager(Dependencies dependencies)
    : MessageFormatter("DeviceManager"), dependencies(std::move(dependencies)), tree(emptyTree()) {}

DeviceManager::~DeviceManager() = default;

bool DeviceManager::initFromConfiguration(std::list<std::string>& errors) {
    errors.clear();
    destroyControllers();
    std::string error;
    dependencies.listener.stop(error);
    *tree.lock() = emptyTree();  // now that no event of the old devices is on its way any more
    const bool listens = dependencies.listener.start(error);
    if (!listens) {
        errors.push_back(error);
    }
    for (const auto& device : dependencies.configuration.getDevices()) {
        createController(device);
    }
    createLoopStorageControllers();
    return listens;
}

// Made without the lock: a controller runs at once, and others may ask for one meanwhile.
void DeviceManager::createController(const TarnDevice& device) {
    const auto made = dependencies.makeController(device);
    auto locked = controllers.lock();
    locked->all.push_back(made);
    if (device.type == configuration::TarnDeviceType::DELTACAST) {
        locked->deltacast = std::dynamic_pointer_cast<DeltacastDeviceController>(made);
    }
}

void DeviceManager::createLoopStorageControllers() {
    for (const auto& storage : dependencies.configuration.getLoopStorages()) {
        if (storage) {
            const auto made = dependencies.makeLoopStorageController(*storage);
            auto locked = controllers.lock();
            locked->loopStorage = made;
            locked->all.push_back(made);
        }
    }
}

// Out of the lock, too: the end of a controller waits for its threads.
void DeviceManager::destroyControllers() {
    const auto ended = std::exchange(*controllers.lock(), {});
}

void DeviceManager::stopControllers() {
    const auto all = controllers.lock()->all;  // they live until they have stopped
    for (const auto& controller : all) {
        controller->stop();
    }
}

// Locked for each change, not for all of them: readers get in between.
void DeviceManager::handleStatusChangeEvent(const GlobalStatusChanges& globals,
                                            const NamedStatusChanges& named) {
    for (const auto& [id, status] : globals) {
        const auto problem = problemOf(tree.lock()->updateGlobalStatus(id, status));
        if (!problem.empty()) {
            warn("Could not update global status of node " + id + problem);
        }
    }
    for (const auto& [id, status] : named) {
        const auto problem = problemOf(tree.lock()->updateStatusValue(id, status));
        if (!problem.empty()) {
            warn("Could not update status " + status.getName() + " of node " + id + problem);
        }
    }
    const DeviceNode snapshot = *tree.lock();
    dependencies.emitter.pushEvent(snapshot, nullptr, /*notify=*/false);
}

void DeviceManager::handleDeviceAddEvent(const DeviceNode& node) {
    insert(node);
    publish(makeEvent<ServiceEventDeviceAdded>(ServiceEvent::DEVICE_ADDED, node.getId(),
                                               node.getDeviceClass()));
}

void DeviceManager::handleConfigurationChangeEvent(const DeviceNode& node) {
    insert(node);
    publish(makeEvent<ServiceEventDeviceChanged>(ServiceEvent::DEVICE_CHANGED, node.getId(),
                                                 node.getDeviceClass()));
}

void DeviceManager::insert(const DeviceNode& node) {
    std::string error;
    if (!tree.lock()->addSubDevice(std::make_shared<DeviceNode>(node), /*replace=*/true, error)) {
        utils::logError(formatMessage(error));
    }
}

void DeviceManager::handleDeviceRemoveEvent(const std::string& id) {
    auto deviceClass = DeviceClass::Generic;
    {
        auto root = tree.lock();
        if (const auto node = root->getSubDevice(id)) {
            deviceClass = node->getDeviceClass();
        }
        std::string error;
        // Another device may have a part of that id, which stays.
        if (!root->removeSubDevice(id, /*deep=*/false, error)) {
            utils::logError(formatMessage(error));
        }
    }
    publish(makeEvent<ServiceEventDeviceRemoved>(ServiceEvent::DEVICE_REMOVED, id, deviceClass));
}

void DeviceManager::handleShutdownEvent(const std::string& id) {
    handleDeviceRemoveEvent(id);
}

void DeviceManager::publish(const ServiceEvent& event) {
    const DeviceNode snapshot = *tree.lock();
    dependencies.emitter.pushEvent(snapshot, &event, /*notify=*/true);
}

void DeviceManager::warn(const std::string& problem) const {
    utils::logWarning(formatMessage(problem));
}

void DeviceManager::withMessageOf(const DeviceNode& snapshot,
                                  const std::function<void(std::string_view)>& take) {
    dependencies.emitter.withMessageOf(snapshot, take);
}

std::string DeviceManager::debugString() {
    const DeviceNode snapshot = *tree.lock();
    return snapshot.debugString(0);
}

}  // namespace tarn::service::devices
