// A device that is this machine: its processors, memory, disks, network and temperatures.

#include <exception>
#include <memory>
#include <string>

#include "peers/device/Device.h"
#include "peers/device/DeviceRun.h"
#include "peers/device/DeviceServer.h"
#include "peers/device/PushChannel.h"
#include "peers/host_monitor/HostDescription.h"
#include "peers/host_monitor/HostMonitorOptions.h"
#include "peers/host_monitor/readings/HostReader.h"
#include "platform/os/ProcessDefaults.h"
#include "platform/os/StopSignals.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"
#include "platform/utils/log/ConsoleLogSink.h"
#include "proto/monitoring.pb.h"

namespace {

using namespace tarn::peers;
using namespace tarn::peers::host_monitor;
using tarn::socket::SocketEndpoint;
using Clock = std::chrono::steady_clock;

std::unique_ptr<EventChannel> openEvents(const std::string& endpoint) {
    return endpoint.empty() ? nullptr
                            : std::make_unique<PushChannel>(SocketEndpoint::FromString(endpoint));
}

void run(const HostMonitorOptions& options) {
    const tarn::os::StopSignals signals;
    const HostReader reader("/");
    HostDescription description(options.name);
    const auto sample = [&] { return description.describe(reader.read(Clock::now())); };
    Device device(sample(), openEvents(options.eventEndpoint));
    DeviceServer server(
        SocketEndpoint::FromString(options.endpoint),
        [&](const Device::Request& request) { return device.answer(request, Clock::now()); });
    tarn::utils::logInfo("Host-" + tarn::utils::printable(options.name) + " answers on " +
                         options.endpoint);
    runDevice(device, server, signals, options.interval, sample);
    tarn::utils::logInfo("Ended");
}

}  // namespace

int main(int argc, char** argv) {
    int exitStatus = 0;
    const auto options = parseHostMonitorOptions(argc, argv, exitStatus);
    if (!options) {
        return exitStatus;
    }
    tarn::os::ignoreBrokenPipes();
    tarn::os::raiseDescriptorLimit();
    tarn::utils::setLogSink(
        std::make_shared<tarn::utils::ConsoleLogSink>(tarn::utils::LogLevel::Info));
    try {
        run(*options);
        return 0;
    } catch (const std::exception& e) {
        tarn::utils::logError(e.what());
        return 1;
    }
}
