#pragma once

#include <chrono>
#include <functional>

#include "peers/device/Device.h"

namespace tarn::os {
class StopSignals;
}

namespace tarn::peers {

class DeviceServer;

/// Serves requests, and every `interval` takes the device's state from `sample`, until a stop
/// command or a signal; then tells that the device goes. Everything on the caller's thread.
void runDevice(Device& device, DeviceServer& server, const os::StopSignals& signals,
               std::chrono::milliseconds interval, const std::function<Device::State()>& sample);

}  // namespace tarn::peers
