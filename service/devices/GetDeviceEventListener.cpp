#include "service/devices/DeviceEventListener.h"
#include "service/devices/DeviceManager.h"

namespace tarn::service::devices {

DeviceEventListener& GetDeviceEventListener() {
    static DeviceEventListener listener([]() -> DeviceManager& { return GetDeviceManager(); });
    return listener;
}

}  // namespace tarn::service::devices
