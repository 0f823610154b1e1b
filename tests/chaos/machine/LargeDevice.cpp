#include "tests/chaos/machine/LargeDevice.h"

#include "peers/device/PushChannel.h"
#include "platform/device_tree/DeviceNode.h"
#include "platform/socket/SocketEndpoint.h"
#include "proto/monitoring.pb.h"

namespace tarn::chaos {

namespace {

using namespace std::chrono_literals;
using device_tree::DeviceNode;
using socket::SocketEndpoint;
using Clock = std::chrono::steady_clock;

constexpr auto id = "large";
constexpr auto passingPart = "large-passing";
constexpr int parts = 250;
constexpr std::size_t nameLength = 800;
constexpr auto betweenChanges = 50ms;

std::shared_ptr<DeviceNode> part(const std::string& partId) {
    return std::make_shared<DeviceNode>(partId, std::string(nameLength, 'x'),
                                        device_tree::DeviceClass::Generic);
}

std::shared_ptr<DeviceNode> wholeDevice() {
    auto whole = part(id);
    std::string error;
    for (int n = 0; n < parts; ++n) {
        whole->addSubDevice(part(id + ("-" + std::to_string(n))), /*replace=*/true, error);
    }
    return whole;
}

}  // namespace

LargeDevice::LargeDevice(const Places& places)
    : state(wholeDevice()),
      device(state, std::make_unique<peers::PushChannel>(
                        SocketEndpoint::FromString(places.largeDeviceEvents))),
      server(SocketEndpoint::FromString(places.largeDevice),
             [this](const peers::Device::Request& request) {
                 return device.answer(request, Clock::now());
             }),
      thread([this](const std::stop_token& stop) { run(stop); }) {}

void LargeDevice::stir(int times) {
    changesLeft = times;
    changesLeft.notify_all();
    for (int left = changesLeft; left > 0; left = changesLeft) {
        changesLeft.wait(left);
    }
}

void LargeDevice::run(const std::stop_token& stop) {
    constexpr int nothingElse = -1;
    while (!stop.stop_requested()) {
        const auto wake = Clock::now() + betweenChanges;
        while (Clock::now() < wake) {
            server.serveOne(wake, nothingElse);
        }
        if (changesLeft > 0) {
            changeOnce();
            --changesLeft;
            changesLeft.notify_all();
        }
        device.update(state, Clock::now());
    }
}

// The state that was told before is compared with this one: it is not changed in place.
void LargeDevice::changeOnce() {
    auto next = std::make_shared<DeviceNode>(*state);
    std::string error;
    if (!next->removeSubDevice(passingPart, /*deep=*/false, error)) {
        next->addSubDevice(part(passingPart), /*replace=*/true, error);
    }
    state = next;
}

}  // namespace tarn::chaos
