#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/device_tree/DeviceNode.h"
#include "platform/utils/MessageFormatter.h"
#include "platform/utils/Synchronised.h"
#include "proto/service_event.fwd.h"

namespace tarn::service {
class EventEmitter;
}
namespace tarn::service::configuration {
class ConfigurationHandler;
class LoopStorageConfigurationHandler;
struct TarnDevice;
}  // namespace tarn::service::configuration

namespace tarn::service::devices {

class DeltacastDeviceController;
class DeviceController;
class DeviceEventListener;
class LoopStorageDeviceController;

/// Owns the device tree of the server and the controllers of its devices. After every change it
/// hands a snapshot of the tree to the event emitter.
///
/// The handlers are called by the thread of the DeviceEventListener only; they never fail, what
/// does not fit the tree is logged. initFromConfiguration is called by one thread at a time;
/// everything else may be called from any thread, also meanwhile.
class DeviceManager : public tarn::utils::MessageFormatter {
  public:
    /// What the manager works with; the references must outlive it.
    struct Dependencies {
        const configuration::ConfigurationHandler& configuration;
        DeviceEventListener& listener;
        EventEmitter& emitter;
        /// A running controller for a device of any kind.
        std::function<std::shared_ptr<DeviceController>(const configuration::TarnDevice& device)>
            makeController;
        /// A running controller for this loop storage server.
        std::function<std::shared_ptr<LoopStorageDeviceController>(
            const configuration::LoopStorageConfigurationHandler& storage)>
            makeLoopStorageController = {};
    };

    /// The id of a node, and its new status.
    using GlobalStatusChanges = std::vector<std::pair<std::string, device_tree::GlobalStatus>>;
    using NamedStatusChanges = std::vector<std::pair<std::string, device_tree::NamedStatus>>;

    explicit DeviceManager(Dependencies dependencies);
    ~DeviceManager() override;

    /// Throws away tree and controllers, restarts the listener and makes the controllers anew,
    /// which run at once. False, with the reasons in `errors`, when the listener did not start;
    /// everything else is there all the same.
    bool initFromConfiguration(std::list<std::string>& errors);

    /// Stops every controller, in the order in which they were made.
    void stopControllers();

    /// Ends what a stopped controller may still do: after this no thread of theirs runs any more.
    /// Waits for operations on tracks that are under way. The devices stay in the tree.
    void destroyControllers();

    /// Of the loop storages the one that is configured last; null without one.
    std::shared_ptr<LoopStorageDeviceController> getLoopStorageController() const {
        return controllers.lock()->loopStorage;
    }

    void handleStatusChangeEvent(const GlobalStatusChanges& globals,
                                 const NamedStatusChanges& named);
    void handleDeviceAddEvent(const device_tree::DeviceNode& node);
    void handleConfigurationChangeEvent(const device_tree::DeviceNode& node);
    void handleDeviceRemoveEvent(const std::string& id);
    void handleShutdownEvent(const std::string& id);

    /// The controller of the ingest service, the last one when several are configured; null without
    /// any.
    std::shared_ptr<DeltacastDeviceController> getDeltacastController() const {
        return controllers.lock()->deltacast;
    }

    std::string debugString();

    /// The tree from its root, with its mutex. Take a copy, which costs nothing, and let go of the
    /// lock before doing anything with it.
    utils::Synchronised<device_tree::DeviceNode>& getTree() { return tree; }

    /// Calls `take` with the message of a snapshot of the tree, serialised: as
    /// EventEmitter::withMessageOf. Any thread.
    void withMessageOf(const device_tree::DeviceNode& snapshot,
                       const std::function<void(std::string_view)>& take);

  private:
    void createController(const configuration::TarnDevice& device);
    void createLoopStorageControllers();
    void insert(const device_tree::DeviceNode& node);
    void publish(const tarn::proto::service_event::ServiceEvent& event);
    void warn(const std::string& problem) const;

    const Dependencies dependencies;
    struct Controllers {
        std::list<std::shared_ptr<DeviceController>> all;  // in the order in which they were made
        std::shared_ptr<LoopStorageDeviceController> loopStorage;
        std::shared_ptr<DeltacastDeviceController> deltacast;
    };
    mutable utils::Synchronised<Controllers> controllers;
    // Never held while the emitter, or a controller, is called.
    utils::Synchronised<device_tree::DeviceNode> tree;
};

/// The process's manager; created on first use, destroyed at exit.
DeviceManager& GetDeviceManager();

}  // namespace tarn::service::devices
