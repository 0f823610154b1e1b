#pragma once

namespace tarn::resource_manager {
class ResourceManagerProxy;
class ResourceManagerRequestHandler;
}  // namespace tarn::resource_manager

namespace tarn::service {

class ApiToServiceRequestHandler;

/// What the shutdown stops.
struct RunningParts {
    ApiToServiceRequestHandler& api;
    resource_manager::ResourceManagerProxy& resourceManager;
    resource_manager::ResourceManagerRequestHandler& resourceManagerServer;
};

/// Stops everything in order, also what was never started; each step goes on after a failure of the
/// one before. Does not throw. Returns when the process may end.
void runShutdownSequence(int signal, const RunningParts& parts);

}  // namespace tarn::service
