// Captures SDI channels in one format, for as long as the service wants that format.
#include <gst/gst.h>
#include <signal.h>

#include <stdexcept>
#include <string>

#include "peers/device/Device.h"
#include "peers/device/DeviceRun.h"
#include "peers/device/DeviceServer.h"
#include "peers/device/EventChannel.h"
#include "peers/ingest_service/Ingest.h"
#include "platform/device_tree/DeviceNode.h"
#include "platform/os/StopSignals.h"
#include "platform/program/Program.h"
#include "platform/utils/Log.h"
#include "proto/monitoring.pb.h"

namespace {

using namespace tarn::peers;
using namespace tarn::peers::ingest_service;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds sampleInterval{200};

void startMediaLibrary() {
    gst_segtrap_set_enabled(FALSE);
    GError* failure = nullptr;
    if (!gst_init_check(nullptr, nullptr, &failure)) {
        const GErrorPtr owner(failure);
        throw std::runtime_error(std::string("the media library cannot start: ") +
                                 (failure != nullptr ? failure->message : "unknown reason"));
    }
}

int capture(const IngestOptions& options) {
    ::signal(SIGHUP, SIG_IGN);  // the terminal, with which we have nothing to do
    const tarn::os::StopSignals signals;
    const auto protection = protect(options.endpoints);
    auto events = openEvents(options.endpoints);
    startMediaLibrary();
    Ingest ingest(options);
    const auto sample = [&] { return ingest.sample(Clock::now()); };
    Device device(sample(), std::move(events));
    DeviceServer server(options.endpoints.requests, [&](const Device::Request& request) {
        return device.answer(request, Clock::now());
    });
    tarn::utils::logInfo("Captures " + nameOf(options.format) + ", answers on " +
                         options.endpoints.requests.toString(tarn::socket::Protocol::None));
    runDevice(device, server, signals, sampleInterval, sample);
    tarn::utils::logInfo("Ended");
    return tarn::program::done;
}

}  // namespace

int main(int argc, char** argv) {
    return tarn::program::run(argc, argv, parseIngestOptions, capture);
}
