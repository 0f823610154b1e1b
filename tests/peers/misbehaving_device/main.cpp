// A device that misbehaves on purpose, or changes at random: what the service is tested with.
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>

#include "peers/device/Device.h"
#include "peers/device/DeviceServer.h"
#include "peers/device/PushChannel.h"
#include "platform/os/ProcessDefaults.h"
#include "platform/os/StopSignals.h"
#include "platform/utils/Log.h"
#include "platform/utils/log/StreamLogSink.h"
#include "proto/monitoring.pb.h"
#include "tests/peers/misbehaving_device/EventNoise.h"
#include "tests/peers/misbehaving_device/Misbehaviour.h"
#include "tests/peers/misbehaving_device/RandomDevice.h"
#include "tests/peers/misbehaving_device/ReplySpoiler.h"

namespace {

using namespace tarn::peers;
using namespace tarn::test;
using tarn::socket::SocketEndpoint;
using Clock = std::chrono::steady_clock;
using Node = tarn::device_tree::DeviceNode;

bool isNoisy(const Misbehaviour& wish) {
    return !wish.eventTypes.empty() || wish.noise != Noise::None || wish.floodRate > 0 ||
           wish.eventLevels > 0 || wish.eventBytes > 0;
}

// Only a device with something true to tell tells it; the others just name their endpoint.
std::unique_ptr<EventChannel> openEvents(const Misbehaviour& wish) {
    const bool tells = wish.seed && !wish.eventEndpoint.empty();
    return tells ? std::make_unique<PushChannel>(SocketEndpoint::FromString(wish.eventEndpoint))
                 : nullptr;
}

std::shared_ptr<Node> makeTree(const Misbehaviour& wish) {
    auto device = std::make_shared<Node>(wish.id, wish.id, tarn::device_tree::DeviceClass::Generic);
    device->addStatus(tarn::device_tree::NamedStatus("Value", std::uint64_t{0}));
    for (unsigned i = 1; i < wish.nodes; ++i) {
        const auto id = wish.id + "." + std::to_string(i);
        std::string error;
        device->addSubDevice(
            std::make_shared<Node>(id, id, tarn::device_tree::DeviceClass::Generic),
            /*replace=*/true, error);
    }
    return device;
}

class MisbehavingDevice {
  public:
    explicit MisbehavingDevice(const Misbehaviour& wish)
        : wish(wish),
          model(wish.id, wish.seed.value_or(0)),
          device(wish.seed ? model.state() : makeTree(wish), openEvents(wish)),
          spoiler(wish),
          server(SocketEndpoint::FromString(wish.endpoint),
                 [this](const Device::Request& request) { return answer(request); }) {
        if (isNoisy(wish)) {
            noise.emplace(wish, Clock::now());
        }
    }

    void run() {
        std::cout << "READY" << std::endl;
        auto next = Clock::now() + wish.interval;
        while (!device.isAskedToStop() && !signals.isRaised()) {
            const auto wake = noise ? std::min(next, Clock::now() + noise->period()) : next;
            server.serveOne(wake, signals.descriptor());
            const auto now = Clock::now();
            if (noise) {
                noise->sendUntil(now);
            }
            if (now >= next) {
                change(now);
                next = now + wish.interval;
            }
        }
        device.end();
    }

  private:
    std::optional<Device::Reply> answer(const Device::Request& request) {
        if (wish.printsRequests) {
            std::cout << "REQUEST " << Device::Request::Type_Name(request.type()) << std::endl;
        }
        if (wish.delay.count() > 0) {
            pollfd interrupt{.fd = signals.descriptor(), .events = POLLIN, .revents = 0};
            ::poll(&interrupt, 1, static_cast<int>(wish.delay.count()));
        }
        return spoiler.spoil(device.answer(request, Clock::now()));
    }

    // Also without a change: what could not be sent before may go now.
    void change(Clock::time_point now) {
        if (!wish.seed) {
            return;
        }
        if (changed < wish.changes) {
            model.change();
            std::cout << "STATE " << ++changed << " " << toJson(*model.state()) << std::endl;
            if (changed == wish.changes) {
                std::cout << "DONE" << std::endl;
            }
        }
        device.update(model.state(), now);
    }

    const tarn::os::StopSignals signals;
    const Misbehaviour& wish;
    RandomDevice model;
    Device device;
    ReplySpoiler spoiler;
    DeviceServer server;
    std::optional<EventNoise> noise;
    unsigned changed = 0;
};

}  // namespace

int main(int argc, char** argv) {
    tarn::os::ignoreBrokenPipes();
    int exitStatus = 0;
    const auto wish = parseMisbehaviour(argc, argv, exitStatus);
    if (!wish) {
        return exitStatus;
    }
    tarn::utils::setLogSink(
        std::make_shared<tarn::utils::StreamLogSink>(stderr, tarn::utils::LogLevel::Info));
    try {
        MisbehavingDevice(*wish).run();
        return 0;
    } catch (const std::exception& e) {
        tarn::utils::logError(e.what());
        return 1;
    }
}
