#include "peers/device/DeviceOptions.h"

#include <CLI/CLI.hpp>

#include "peers/device/PushChannel.h"
#include "platform/program/Options.h"
#include "platform/program/TcpAccessOptions.h"

namespace tarn::peers {

void addDeviceOptions(CLI::App& app, DeviceEndpoints& endpoints) {
    program::addEndpoint(app, "--endpoint", endpoints.requests, "Where the service asks");
    auto* const events = program::addEndpoint(app, "--event-endpoint", endpoints.events,
                                              "Where the service is to listen for changes");
    app.add_flag_callback(
           "--poll-only", [&endpoints] { endpoints.events.reset(); },
           "Sends no changes: the service has to ask")
        ->excludes(events);
    program::addTcpAccess(app, endpoints.tcpAccess);
}

std::unique_ptr<access::TcpAccess> protect(const DeviceEndpoints& endpoints) {
    access::checkReach(endpoints.tcpAccess, endpoints.requests);
    if (endpoints.events) {
        access::checkReach(endpoints.tcpAccess, *endpoints.events);
    }
    return std::make_unique<access::TcpAccess>(endpoints.tcpAccess);
}

std::unique_ptr<EventChannel> openEvents(const DeviceEndpoints& endpoints) {
    return endpoints.events ? std::make_unique<PushChannel>(*endpoints.events) : nullptr;
}

}  // namespace tarn::peers
