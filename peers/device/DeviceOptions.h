#pragma once

#include <memory>
#include <optional>

#include "platform/access/TcpAccess.h"
#include "platform/socket/SocketEndpoint.h"

namespace CLI {
class App;
}

namespace tarn::peers {

class EventChannel;

/// Where a device and the service meet.
struct DeviceEndpoints {
    socket::SocketEndpoint requests;
    std::optional<socket::SocketEndpoint> events;  ///< nothing: it is polled
    access::TcpAccessSettings tcpAccess = {};
};

/// Adds --endpoint, --event-endpoint, --poll-only and what protects them, with what `endpoints`
/// holds as the defaults.
void addDeviceOptions(CLI::App& app, DeviceEndpoints& endpoints);

/// Protects them over TCP while it lives: before openEvents, and before the device answers. Throws
/// std::runtime_error.
std::unique_ptr<access::TcpAccess> protect(const DeviceEndpoints& endpoints);

/// The channel to where the device's events go; null for a device that is polled.
std::unique_ptr<EventChannel> openEvents(const DeviceEndpoints& endpoints);

}  // namespace tarn::peers
