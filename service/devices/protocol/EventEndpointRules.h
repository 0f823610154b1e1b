#pragma once

#include <string>
#include <vector>

#include "platform/socket/SocketEndpoint.h"

namespace tarn::service::configuration {
class ConfigurationHandler;
}

namespace tarn::service::devices {

/// Where the service listens because a device says so. A device may be anybody: it must not have
/// the service make files where it likes, or open the machine to the network.
class EventEndpointRules {
  public:
    /// `own` are the endpoints of the service itself.
    explicit EventEndpointRules(std::vector<socket::SocketEndpoint> own = {});

    static EventEndpointRules of(const configuration::ConfigurationHandler& configuration);

    /// Why the service does not listen on the endpoint that a device named which is reached at
    /// `device`; empty when it does: on a socket file in a folder where the service's own sockets
    /// are, and on a port for a device that is reached over TCP.
    std::string objectionTo(const socket::SocketEndpoint& named,
                            const socket::SocketEndpoint& device) const;

  private:
    bool isOwn(const socket::SocketEndpoint& named) const;
    bool isInOwnFolder(const socket::SocketEndpoint& named) const;

    std::vector<socket::SocketEndpoint> own;
    std::vector<std::string> folders;
};

}  // namespace tarn::service::devices
