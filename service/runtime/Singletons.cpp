#include "platform/resource_manager/RegistryFolder.h"
#include "platform/resource_manager/ResourceManagerProxy.h"
#include "service/configuration/ConfigurationHandler.h"
#include "service/configuration/GetConfigurationHandler.h"
#include "service/configuration/LoopStorageConfigurationHandler.h"
#include "service/devices/DeviceEventListener.h"
#include "service/devices/DeviceManager.h"
#include "service/devices/DevicePresence.h"
#include "service/devices/capture/DeltacastDeviceController.h"
#include "service/devices/capture/ProcessControl.h"
#include "service/devices/protocol/TarnProtocolDeviceController.h"
#include "service/devices/storage/LoopStorageDeviceController.h"
#include "service/devices/storage/TrackTasks.h"
#include "service/events/EventEmitter.h"
#include "service/workflows/ShellCommand.h"

namespace tarn::service::devices {

namespace {

std::shared_ptr<LoopStorageDeviceController> makeLoopStorageController(
    const configuration::LoopStorageConfigurationHandler& storage, TrackTasks& tasks) {
    // Controllers go when the process ends, and the tickets with them. Operations that were taken
    // must still reach the server; how long they take there nobody is left to ask.
    const LoopStorageDeviceController::Dependencies dependencies{
        .tasks = tasks, .patience = std::chrono::seconds(2)};
    if (storage.isTcpInterface()) {
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

// Beside the registry, since it is as good as that over a restart and a reboot.
std::string launchRecord() {
    const auto& endpoint = configuration::GetConfigurationHandler().getResourcesEndpoint();
    return resource_manager::RegistryFolder().pathFor(endpoint) + ".ingest";
}

// What its dependencies are made of is made before the manager, to be destroyed after it.
auto deltacastControllerMaker() {
    static RealProcessControl processes;
    auto& resourceManager = resource_manager::GetResourceManagerProxy();
    return [&resourceManager](const std::string& endpoint) {
        return std::make_shared<DeltacastDeviceController>(
            endpoint, DeltacastDeviceController::Dependencies{
                          .listener = GetDeviceEventListener(),
                          .configuration = configuration::GetConfigurationHandler(),
                          .resourceManager = resourceManager,
                          .processes = processes,
                          .runShell = runShellCommand,
                          .launchRecord = launchRecord()});
    };
}

}  // namespace

DeviceManager& GetDeviceManager() {
    devicePresence();         // made before the manager, to be destroyed after its controllers
    static TrackTasks tasks;  // likewise
    static DeviceManager manager(
        {configuration::GetConfigurationHandler(), GetDeviceEventListener(), GetEventEmitter(),
         [](const std::string& endpoint) {
             return std::make_shared<TarnProtocolDeviceController>(
                 endpoint, TarnProtocolDeviceController::Dependencies{
                               .listener = GetDeviceEventListener(),
                               .presence = &devicePresence(),
                               .eventEndpoints = EventEndpointRules::of(
                                   configuration::GetConfigurationHandler())});
         },
         [](const configuration::LoopStorageConfigurationHandler& storage) {
             return makeLoopStorageController(storage, tasks);
         },
         deltacastControllerMaker()});
    return manager;
}

}  // namespace tarn::service::devices
