#include "service/configuration/GetConfigurationHandler.h"
#include "service/devices/DeviceEventListener.h"
#include "service/devices/DeviceManager.h"
#include "service/devices/TarnProtocolDeviceController.h"
#include "service/events/EventEmitter.h"

namespace tarn::service::devices {

DeviceManager& GetDeviceManager() {
    static DeviceManager manager(
        {configuration::GetConfigurationHandler(), GetDeviceEventListener(), GetEventEmitter(),
         [](const std::string& endpoint) {
             return std::make_shared<TarnProtocolDeviceController>(
                 endpoint, TarnProtocolDeviceController::Surroundings{GetDeviceEventListener()});
         }});
    return manager;
}

}  // namespace tarn::service::devices
