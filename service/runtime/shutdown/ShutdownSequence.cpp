#include "service/runtime/shutdown/ShutdownSequence.h"

#include <chrono>
#include <string>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/resource_manager/ResourceManagerRequestHandler.h"
#include "platform/utils/Log.h"
#include "service/api/ApiToServiceRequestHandler.h"
#include "service/devices/DeviceEventListener.h"
#include "service/devices/DeviceManager.h"
#include "service/events/EventEmitter.h"
#include "service/runtime/DeadJobCleaner.h"
#include "service/runtime/shutdown/JobTermination.h"

namespace tarn::service {

namespace {

constexpr std::chrono::seconds jobsBound{5};

void stop(devices::DeviceEventListener& listener) {
    std::string error;
    listener.stop(error);
    if (!error.empty()) {
        utils::logError("Error during DeviceEventListener stop: " + error);
    }
}

void stopJobs(const RunningParts& parts) {
    // A job that is just coming up must not enter the list after it was read.
    const bool isOurs = parts.resourceManagerServer.refuseRegistrations();
    terminateJobs(parts.resourceManager, jobsBound,
                  isOurs ? RegistryKeeper::ThisService : RegistryKeeper::AnotherService);
}

void disconnect(resource_manager::ResourceManagerProxy& resourceManager) {
    std::string error;
    if (!resourceManager.disconnect(error)) {
        utils::logError("Failed disconnecting ResourceManagerProxy: " + error);
    }
}

}  // namespace

void runShutdownSequence(int signal, const RunningParts& parts) {
    utils::logTrace("Caught signal " + std::to_string(signal));
    utils::logInfo("Terminating service");
    stopDeadJobCleaner();

    utils::logInfo("Stopping device event listener");
    stop(parts.deviceEvents);
    utils::logInfo("Device event listener stopped");

    utils::logInfo("Stopping event emitter");
    parts.emitter.stopThread();
    utils::logInfo("Event emitter stopped");

    utils::logInfo("Stopping device controllers");
    parts.devices.stopControllers();
    utils::logInfo("Device controllers stopped");

    utils::logInfo("Terminating request handler listener");
    parts.api.terminate();
    utils::logInfo("Request handler terminated");

    utils::logInfo("Terminating running jobs");
    stopJobs(parts);
    utils::logInfo("Running jobs terminated");

    joinDeadJobCleaner();

    utils::logInfo("Disconnecting resource manager proxy");
    disconnect(parts.resourceManager);
    utils::logInfo("Resource manager proxy disconnected");

    utils::logInfo("Terminating resource manager handler");
    parts.resourceManagerServer.terminate();
    utils::logInfo("Resource manager handler terminated");

    // Nobody has anything to say after the last line.
    parts.devices.destroyControllers();
    utils::logInfo("Service terminated");
}

}  // namespace tarn::service
