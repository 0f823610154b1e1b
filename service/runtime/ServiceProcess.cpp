#include "service/runtime/ServiceProcess.h"

#include <cstdlib>
#include <exception>
#include <list>
#include <stdexcept>
#include <string>

#include "platform/media_framework/Kln.h"
#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/resource_manager/ResourceManagerRequestHandler.h"
#include "platform/socket/Limits.h"
#include "platform/utils/Log.h"
#include "platform/utils/log/Log4CPlusLogger.h"
#include "service/api/ApiToServiceRequestHandler.h"
#include "service/configuration/ConfigurationHandler.h"
#include "service/devices/DeviceEventListener.h"
#include "service/devices/DeviceManager.h"
#include "service/devices/capture/DeltacastDeviceController.h"
#include "service/events/EventEmitter.h"
#include "service/runtime/CommandLine.h"
#include "service/runtime/DeadJobCleaner.h"
#include "service/runtime/DeltacastStartUp.h"
#include "service/runtime/ManagerReports.h"
#include "service/runtime/shutdown/ShutdownSequence.h"
#include "service/runtime/shutdown/ShutdownThread.h"
#include "service/workflows/EndingJobs.h"
#include "service/workflows/WorkflowCreator.h"

namespace tarn::service {

namespace {

constexpr auto configurationFile = "/etc/TarnConfiguration.xml";
constexpr auto loggerConfigurationFile =
    "/opt/halden/halden-tarn-service/config/halden-tarn-service.logger.config";
constexpr auto frameworkLoggerConfiguration =
    "<Config>\n    <Logger>halden-kln</Logger>\n</Config>";

// Numbers that are none are thrown out of the reader; for the operator that is a failed reading
// too.
bool readConfiguration(configuration::ConfigurationHandler& settings, std::string& error) {
    try {
        return settings.readConfigurationFile(configurationFile, error);
    } catch (const std::exception& e) {
        error = settings.formatMessage(e.what());
        return false;
    }
}

bool parseEndpoint(const std::string& text, socket::SocketEndpoint& endpoint, const char* problem) {
    try {
        endpoint = socket::SocketEndpoint::FromString(text);
        return true;
    } catch (const std::exception& e) {
        utils::logError(std::string(problem) + e.what());
        return false;
    }
}

access::TcpAccessSettings tcpAccessOf(const configuration::ConfigurationHandler& settings) {
    const auto& security = settings.getSecurity();
    access::TcpAccessSettings result{.required = security.required,
                                     .keyFile = security.keyFile,
                                     .clientKeys = security.clientKeys,
                                     .serverKey = {},
                                     .serverKeys = {}};
    for (const auto& device : settings.getDevices()) {
        if (!device.publicKey.empty()) {
            result.serverKeys[device.monitoringInterface] = device.publicKey;
        }
    }
    return result;
}

// What is no endpoint is told where it is used.
bool mayBeUsed(const access::TcpAccessSettings& security, const std::string& endpoint,
               const char* problem) {
    try {
        access::checkReach(security, socket::SocketEndpoint::FromString(endpoint));
    } catch (const std::invalid_argument&) {
        return true;
    } catch (const std::runtime_error& e) {
        utils::logError(std::string(problem) + e.what());
        return false;
    }
    return true;
}

RunningParts runningParts() {
    return {devices::GetDeviceEventListener(),
            GetEventEmitter(),
            devices::GetDeviceManager(),
            GetApiToServiceRequestHandler(),
            resource_manager::GetResourceManagerProxy(),
            resource_manager::GetResourceManagerRequestHandler()};
}

// The main thread may use anything: nothing is destroyed under it.
void endWithoutMainThread() {
    utils::closeLog4CPlusLogger();
    std::_Exit(0);
}

// What no shutdown has stopped: the process must not end under running threads.
void stopWhatStillRuns(const RunningParts& parts) {
    std::string ignored;
    parts.deviceEvents.stop(ignored);
    parts.emitter.stopThread();
    parts.devices.stopControllers();
    parts.devices.destroyControllers();
    stopDeadJobCleaner();
    joinDeadJobCleaner();
}

}  // namespace

int ServiceProcess::run(int argc, const char* const* argv) {
    if (printHelpIfAskedFor(argc, argv)) {
        return 1;
    }
    GetManagerReports();  // takes what it needs out of the environment while there are no threads
    if (registerLoggers() == Step::Failed) {
        return 1;
    }
    // The singletons are made here, so that they are destroyed after everything that uses them.
    const auto parts = runningParts();
    const int status = runUntilStopped(parts);
    stopWhatStillRuns(parts);
    return status;
}

int ServiceProcess::runUntilStopped(const RunningParts& parts) {
    ShutdownThread shutdown(stop, {[&parts](int signal) {
                                       GetManagerReports().stopping();
                                       runShutdownSequence(signal, parts);
                                       parts.api.releaseWaiters();
                                   },
                                   endWithoutMainThread});
    if (!stop.requested() && loadConfiguration() == Step::Failed) {
        return 1;
    }
    return runServices(shutdown);
}

ServiceProcess::Step ServiceProcess::registerLoggers() {
    utils::registerLog4CPlusLogger("halden-tarn-service", loggerConfigurationFile);
    try {
        if (KLNSetLoggerFrameworkConfig("Log4CPlus", "kln", frameworkLoggerConfiguration) != 0) {
            utils::logError("Failed setting KLN logger");
            return Step::Failed;
        }
    } catch (const std::exception& e) {
        utils::logError(std::string("Failed setting KLN logger: ") + e.what());
        return Step::Failed;
    }
    return Step::Done;
}

ServiceProcess::Step ServiceProcess::loadConfiguration() {
    auto& settings = configuration::GetConfigurationHandler();
    std::string error;
    if (!readConfiguration(settings, error)) {
        utils::logWarning("Warning: " + error);
        utils::logWarning("Using default configuration");
        settings.setDefault();
    }
    socket::setLimits(settings.getLimits());
    settings.printConfiguration();
    if (!settings.checkCreateFolders(error)) {
        utils::logError("Failed creating/checking folders: " + error);
    }
    const bool parsed = parseEndpoint(settings.getRequestsEndpoint(), requestsEndpoint,
                                      "Could not setup request endpoint: ") &&
                        parseEndpoint(settings.getEventsEndpoint(), eventsEndpoint,
                                      "Could not setup event endpoint: ");
    return parsed ? protectTcp() : Step::Failed;
}

// Before the first socket is opened. A device that may not be reached is not the end of the others.
ServiceProcess::Step ServiceProcess::protectTcp() {
    const auto& settings = configuration::GetConfigurationHandler();
    const auto security = tcpAccessOf(settings);
    const bool good =
        mayBeUsed(security, settings.getRequestsEndpoint(), "Could not setup request endpoint: ") &&
        mayBeUsed(security, settings.getEventsEndpoint(), "Could not setup event endpoint: ") &&
        mayBeUsed(security, settings.getResourcesEndpoint(),
                  "Could not setup resources endpoint: ");
    for (const auto& device : settings.getDevices()) {
        mayBeUsed(security, device.monitoringInterface, "Could not setup device: ");
    }
    if (!good) {
        return Step::Failed;
    }
    try {
        tcpAccess.emplace(security);
        return Step::Done;
    } catch (const std::exception& e) {
        utils::logError(std::string("Could not setup security: ") + e.what());
        return Step::Failed;
    }
}

int ServiceProcess::runServices(ShutdownThread& shutdown) {
    startMonitoring();  // what it throws ends the process
    try {
        startServices();
        shutdown.allowShutdown();
        GetApiToServiceRequestHandler().waitForTermination();
    } catch (const std::exception& e) {
        utils::logError(std::string("Terminated with exception %") + e.what());
        shutdown.allowShutdown();
    }
    return 0;
}

void ServiceProcess::startMonitoring() {
    if (stop.requested()) {
        return;
    }
    GetWorkflowCreator().init(requestsEndpoint, eventsEndpoint);
    std::list<std::string> errors;
    if (!devices::GetDeviceManager().initFromConfiguration(errors)) {
        utils::logError("failed setting up system monitoring:");
        for (const auto& error : errors) {
            utils::logError("\tError: " + error);
        }
    }
}

void ServiceProcess::startServices() {
    using Start = void (*)(ServiceProcess&);
    constexpr Start steps[] = {
        [](ServiceProcess& p) { p.startResourceManager(); },
        [](ServiceProcess& p) { p.waitForDeltacastService(); },
        [](ServiceProcess& p) { StartEventEmitter(p.eventsEndpoint.asPeer()); },
        [](ServiceProcess&) { GetApiToServiceRequestHandler().start("TarnService"); },
        [](ServiceProcess&) { startDeadJobCleaner(); },
        [](ServiceProcess& p) { p.regenerateJobs(); },
    };
    for (const auto step : steps) {
        if (stop.requested()) {
            return;
        }
        step(*this);
    }
}

void ServiceProcess::startResourceManager() {
    const auto endpoint = socket::SocketEndpoint::FromString(
        configuration::GetConfigurationHandler().getResourcesEndpoint());
    resource_manager::GetResourceManagerRequestHandler().start(endpoint);
    std::string error;
    if (!resource_manager::GetResourceManagerProxy().connect(endpoint.asPeer(), error)) {
        utils::logError("Failed connecting ResourceManagerProxy: " + error);
    }
}

void ServiceProcess::regenerateJobs() {
    // After a quick restart the jobs that the last shutdown stopped may not be gone yet.
    awaitEndingJobs(resource_manager::GetResourceManagerProxy(),
                    [this](std::chrono::milliseconds time) { return stop.waitFor(time); });
    utils::logDebug("Regenerating persistent jobs (if any)");
    GetWorkflowCreator().regeneratePersistentJobs([this] { return stop.requested(); });
    utils::logDebug("Persistent jobs regenerated (if any)");
}

void ServiceProcess::waitForDeltacastService() {
    const auto controller = devices::GetDeviceManager().getDeltacastController();
    if (!controller) {
        return;
    }
    const auto pause = [this](std::chrono::milliseconds time) { return stop.waitFor(time); };
    DeltacastStartUp(
        {[&] { return controller->getStatus(); },
         [&](std::uint32_t bound) { return controller->waitForDeviceStarted(bound, pause); },
         [&](const std::string& path) { return controller->applyConfigurationFile(path); },
         [&] { return controller->applyDefaultConfiguration(); }, pause},
        configuration::GetConfigurationHandler().getPersistentDeltacastConfigurationFile())
        .run();
}

}  // namespace tarn::service
