// Captures SDI channels in one format, for as long as the service wants that format.
#include <gst/gst.h>
#include <signal.h>

#include <exception>
#include <memory>
#include <string>

#include "peers/device/Device.h"
#include "peers/device/DeviceRun.h"
#include "peers/device/DeviceServer.h"
#include "peers/device/PushChannel.h"
#include "peers/ingest_service/Ingest.h"
#include "platform/device_tree/DeviceNode.h"
#include "platform/os/ProcessDefaults.h"
#include "platform/os/StopSignals.h"
#include "platform/utils/Log.h"
#include "platform/utils/log/ConsoleLogSink.h"
#include "proto/monitoring.pb.h"

namespace {

using namespace tarn::peers;
using namespace tarn::peers::ingest_service;
using tarn::socket::SocketEndpoint;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds sampleInterval{200};

std::unique_ptr<EventChannel> openEvents(const std::string& endpoint) {
    return endpoint.empty() ? nullptr
                            : std::make_unique<PushChannel>(SocketEndpoint::FromString(endpoint));
}

void startMediaLibrary() {
    gst_segtrap_set_enabled(FALSE);
    GError* failure = nullptr;
    if (!gst_init_check(nullptr, nullptr, &failure)) {
        const GErrorPtr owner(failure);
        throw std::runtime_error(std::string("the media library cannot start: ") +
                                 (failure != nullptr ? failure->message : "unknown reason"));
    }
}

void run(const IngestOptions& options) {
    const tarn::os::StopSignals signals;
    const auto endpoint = SocketEndpoint::FromString(options.endpoint);
    auto events = openEvents(options.eventEndpoint);
    startMediaLibrary();
    Ingest ingest(options);
    const auto sample = [&] { return ingest.sample(Clock::now()); };
    Device device(sample(), std::move(events));
    DeviceServer server(endpoint, [&](const Device::Request& request) {
        return device.answer(request, Clock::now());
    });
    tarn::utils::logInfo("Captures " + nameOf(options.format) + ", answers on " + options.endpoint);
    runDevice(device, server, signals, sampleInterval, sample);
    tarn::utils::logInfo("Ended");
}

}  // namespace

int main(int argc, char** argv) {
    int exitStatus = 0;
    const auto options = parseIngestOptions(argc, argv, exitStatus);
    if (!options) {
        return exitStatus;
    }
    tarn::os::ignoreBrokenPipes();
    tarn::os::raiseDescriptorLimit();
    ::signal(SIGHUP, SIG_IGN);  // the terminal, with which we have nothing to do
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
