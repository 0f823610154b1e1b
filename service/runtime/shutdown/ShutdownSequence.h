#pragma once

namespace tarn::resource_manager {
class ResourceManagerProxy;
class ResourceManagerRequestHandler;
}  // namespace tarn::resource_manager

namespace tarn::service::devices {
class DeviceEventListener;
class DeviceManager;
}  // namespace tarn::service::devices

namespace tarn::service {

class EventEmitter;
class ApiToServiceRequestHandler;

/// What the shutdown stops.
struct RunningParts {
    devices::DeviceEventListener& deviceEvents;
    EventEmitter& emitter;
    devices::DeviceManager& devices;
    ApiToServiceRequestHandler& api;
    resource_manager::ResourceManagerProxy& resourceManager;
    resource_manager::ResourceManagerRequestHandler& resourceManagerServer;
};

/// Stops everything in order, also what was never started; each step goes on after a failure of the
/// one before. Does not throw. Returns when the process may end.
void runShutdownSequence(int signal, const RunningParts& parts);

}  // namespace tarn::service
