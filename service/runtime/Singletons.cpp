// Every object that the process has once: made by the first call of its accessor, from any thread,
// and destroyed at exit, in the reverse order. What another one works with is named in its making,
// and so made before it.
#include <ctime>
#include <memory>

#include "platform/media_framework/Kln.h"
#include "platform/resource_manager/RegistryFolder.h"
#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/socket/TcpProtection.h"
#include "platform/utils/Log.h"
#include "service/api/ApiToServiceRequestHandler.h"
#include "service/configuration/ConfigurationHandler.h"
#include "service/configuration/LoopStorageConfigurationHandler.h"
#include "service/devices/DeviceEventListener.h"
#include "service/devices/DeviceManager.h"
#include "service/devices/DevicePresence.h"
#include "service/devices/capture/DeltacastDeviceController.h"
#include "service/devices/capture/ProcessControl.h"
#include "service/devices/protocol/TarnProtocolDeviceController.h"
#include "service/devices/storage/LoopStorageDeviceController.h"
#include "service/devices/storage/StorageConnection.h"
#include "service/devices/storage/TrackTasks.h"
#include "service/events/EventEmitter.h"
#include "service/runtime/ManagerReports.h"
#include "service/workflows/ShellCommand.h"
#include "service/workflows/WorkflowCreator.h"
#include "service/workflows/launch/FreeEndpoint.h"
#include "service/workflows/launch/PrivateRandom.h"

namespace tarn::service {

configuration::ConfigurationHandler& configuration::GetConfigurationHandler() {
    static ConfigurationHandler handler(KLNLoadPluginLibrary);
    return handler;
}

WorkflowCreator& GetWorkflowCreator() {
    static PrivateRandom ports;
    static WorkflowCreator creator({configuration::GetConfigurationHandler(),
                                    resource_manager::GetResourceManagerProxy(), runShellCommand,
                                    [] { return ports.next(); }, isFreeEndpoint});
    return creator;
}

EventEmitter& GetEventEmitter() {
    static EventEmitter emitter;
    return emitter;
}

void StartEventEmitter(const socket::SocketEndpoint& endpoint) {
    GetEventEmitter().startThread(endpoint);
}

void StopEventEmitter() {
    GetEventEmitter().stopThread();
}

ApiToServiceRequestHandler& GetApiToServiceRequestHandler() {
    static ApiToServiceRequestHandler handler(
        "", {GetWorkflowCreator(), resource_manager::GetResourceManagerProxy(),
             configuration::GetConfigurationHandler(), devices::GetDeviceManager(), runShellCommand,
             std::chrono::steady_clock::now, [] { return std::time(nullptr); },
             dictionary::ComponentsDictionary(), [] { GetManagerReports().ready(); },
             [] { GetManagerReports().alive(); }});
    return handler;
}

ManagerReports& GetManagerReports() {
    static ManagerReports reports(os::ServiceManager::takenFromEnvironment());
    return reports;
}

namespace devices {

DeviceEventListener& GetDeviceEventListener() {
    static DeviceEventListener listener([]() -> DeviceManager& { return GetDeviceManager(); });
    return listener;
}

namespace {

// The client library knows the server by it in each connection from now on.
void useCertificateFor(const configuration::LoopStorageConfigurationHandler& storage) {
    const auto& certificate =
        configuration::GetConfigurationHandler().getSecurity().storageCertificate;
    StorageError error;
    if (!certificate.empty()) {
        tarn_storage_set_certificate(certificate.c_str(), error.get());
    }
    if (!storage.getFingerprint().empty()) {
        tarn_storage_set_server(storage.getAddress().c_str(), storage.getPort(),
                                storage.getFingerprint().c_str(), error.get());
    }
    const socket::SocketEndpoint endpoint(socket::Transport::Tcp, storage.getAddress(),
                                          storage.getPort());
    if (certificate.empty() && storage.getFingerprint().empty() &&
        socket::isBeyondThisMachine(endpoint)) {
        utils::logWarning("Loop storage " + storage.toString() +
                          " is beyond this machine and is reached without encryption");
    }
    if (error.isSet()) {
        utils::logError(GetDeviceManager().formatMessage(
            "Failed setting up the certificate of loop storages: " + error.message()));
    }
}

std::shared_ptr<LoopStorageDeviceController> makeLoopStorageController(
    const configuration::LoopStorageConfigurationHandler& storage, TrackTasks& tasks) {
    // Controllers go when the process ends, and the tickets with them. Operations that were taken
    // must still reach the server; how long they take there nobody is left to ask.
    const LoopStorageDeviceController::Dependencies dependencies{
        .tasks = tasks, .patience = std::chrono::seconds(2)};
    if (storage.isTcpInterface()) {
        useCertificateFor(storage);
        return std::make_shared<LoopStorageDeviceController>(storage.getAddress(),
                                                             storage.getPort(), dependencies);
    }
    return std::make_shared<LoopStorageDeviceController>(storage.getAddress(), dependencies);
}

DevicePresence& devicePresence() {
    static DevicePresence presence([](const std::string& id) {
        return GetDeviceManager().getTree().lock()->getSubDevice(id) != nullptr;
    });
    return presence;
}

RealProcessControl& processControl() {
    static RealProcessControl processes;
    return processes;
}

// Beside the registry, since it is as good as that over a restart and a reboot.
std::string launchRecord() {
    const auto& endpoint = configuration::GetConfigurationHandler().getResourcesEndpoint();
    return resource_manager::RegistryFolder().pathFor(endpoint) + ".ingest";
}

// The one place to make the controller of a further kind of device.
std::shared_ptr<DeviceController> makeController(const configuration::TarnDevice& device) {
    auto& listener = GetDeviceEventListener();
    const auto& settings = configuration::GetConfigurationHandler();
    if (device.type == configuration::TarnDeviceType::DELTACAST) {
        return std::make_shared<DeltacastDeviceController>(
            device.monitoringInterface,
            DeltacastDeviceController::Dependencies{
                .listener = listener,
                .configuration = settings,
                .resourceManager = resource_manager::GetResourceManagerProxy(),
                .processes = processControl(),
                .runShell = runShellCommand,
                .launchRecord = launchRecord()});
    }
    return std::make_shared<TarnProtocolDeviceController>(
        device.monitoringInterface, TarnProtocolDeviceController::Dependencies{
                                        .listener = listener,
                                        .presence = &devicePresence(),
                                        .eventEndpoints = EventEndpointRules::of(settings)});
}

}  // namespace

DeviceManager& GetDeviceManager() {
    // What only its controllers use, made before it to be destroyed after them.
    devicePresence();
    processControl();
    resource_manager::GetResourceManagerProxy();
    static TrackTasks tasks;
    static DeviceManager manager(
        {configuration::GetConfigurationHandler(), GetDeviceEventListener(), GetEventEmitter(),
         makeController, [](const configuration::LoopStorageConfigurationHandler& storage) {
             return makeLoopStorageController(storage, tasks);
         }});
    return manager;
}

}  // namespace devices

}  // namespace tarn::service
