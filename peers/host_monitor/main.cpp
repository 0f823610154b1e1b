// A device that is this machine: its processors, memory, disks, network and temperatures.

#include "peers/device/Device.h"
#include "peers/device/DeviceRun.h"
#include "peers/device/DeviceServer.h"
#include "peers/device/EventChannel.h"
#include "peers/host_monitor/HostDescription.h"
#include "peers/host_monitor/HostMonitorOptions.h"
#include "peers/host_monitor/readings/HostReader.h"
#include "platform/os/StopSignals.h"
#include "platform/program/Program.h"
#include "platform/program/Readiness.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"
#include "proto/monitoring.pb.h"

namespace {

using namespace tarn::peers;
using namespace tarn::peers::host_monitor;
using Clock = std::chrono::steady_clock;

int monitorHost(const HostMonitorOptions& options) {
    const tarn::os::StopSignals signals;
    const auto protection = protect(options.endpoints);
    const HostReader reader("/");
    HostDescription description(options.name);
    const auto sample = [&] { return description.describe(reader.read(Clock::now())); };
    Device device(sample(), openEvents(options.endpoints));
    DeviceServer server(options.endpoints.requests, [&](const Device::Request& request) {
        return device.answer(request, Clock::now());
    });
    tarn::utils::logInfo("Host-" + tarn::utils::printable(options.name) + " answers on " +
                         options.endpoints.requests.toString(tarn::socket::Protocol::None));
    tarn::program::announceReadiness();
    runDevice(device, server, signals, options.interval, sample);
    tarn::utils::logInfo("Ended");
    return tarn::program::done;
}

}  // namespace

int main(int argc, char** argv) {
    return tarn::program::run(argc, argv, parseHostMonitorOptions, monitorHost);
}
