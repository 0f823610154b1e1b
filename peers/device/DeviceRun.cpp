#include "peers/device/DeviceRun.h"

#include <algorithm>

#include "peers/device/DeviceServer.h"
#include "platform/os/StopSignals.h"

namespace tarn::peers {

void runDevice(Device& device, DeviceServer& server, const os::StopSignals& signals,
               std::chrono::milliseconds interval, const std::function<Device::State()>& sample) {
    using Clock = std::chrono::steady_clock;
    auto next = Clock::now() + interval;
    while (!device.isAskedToStop() && !signals.isRaised()) {
        server.serveOne(next, signals.descriptor());
        if (Clock::now() >= next) {
            auto state = sample();
            const auto now = Clock::now();
            device.update(std::move(state), now);
            next = std::max(next + interval, now);
        }
    }
    device.end();
}

}  // namespace tarn::peers
