#include "service/devices/protocol/EventEndpointRules.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "service/configuration/ConfigurationHandler.h"

namespace tarn::service::devices {

using socket::SocketEndpoint;
using socket::Transport;

namespace {

// Of an IPC endpoint, as it stands: a path with "/../" in it is in no folder of ours.
std::string folderOf(const SocketEndpoint& endpoint) {
    constexpr std::string_view scheme = "ipc://";
    const auto path = endpoint.toString(socket::Protocol::None).substr(scheme.size());
    return path.substr(0, path.rfind('/'));
}

// What is configured wrongly is said elsewhere.
void addIfItIsOne(const std::string& text, std::vector<SocketEndpoint>& endpoints) {
    try {
        endpoints.push_back(SocketEndpoint::FromString(text));
    } catch (const std::invalid_argument&) {
    }
}

}  // namespace

// The endpoints that jobs are set up at have no folder in their configuration: they are there, too.
EventEndpointRules::EventEndpointRules(std::vector<SocketEndpoint> ownEndpoints)
    : own(std::move(ownEndpoints)), folders{folderOf({Transport::Ipc, "job", 0})} {
    for (const auto& endpoint : own) {
        if (endpoint.transport() == Transport::Ipc) {
            folders.push_back(folderOf(endpoint));
        }
    }
}

EventEndpointRules EventEndpointRules::of(const configuration::ConfigurationHandler& handler) {
    std::vector<SocketEndpoint> endpoints;
    addIfItIsOne(handler.getRequestsEndpoint(), endpoints);
    addIfItIsOne(handler.getEventsEndpoint(), endpoints);
    addIfItIsOne(handler.getResourcesEndpoint(), endpoints);
    return EventEndpointRules(std::move(endpoints));
}

std::string EventEndpointRules::objectionTo(const SocketEndpoint& named,
                                            const SocketEndpoint& device) const {
    if (isOwn(named)) {
        return "it is the service's own";
    }
    switch (named.transport()) {
        case Transport::InProcess:
            return "it is inside a process";
        case Transport::Ipc:
            return isInOwnFolder(named) ? "" : "the service has no sockets in that folder";
        case Transport::Tcp:
            break;
    }
    return device.transport() == Transport::Tcp ? "" : "the device is not reached over TCP";
}

bool EventEndpointRules::isOwn(const SocketEndpoint& named) const {
    return std::any_of(own.begin(), own.end(), [&](const SocketEndpoint& endpoint) {
        const bool samePort =
            named.transport() == Transport::Tcp && endpoint.port() == named.port();
        return endpoint == named || (samePort && endpoint.transport() == Transport::Tcp);
    });
}

bool EventEndpointRules::isInOwnFolder(const SocketEndpoint& named) const {
    return std::find(folders.begin(), folders.end(), folderOf(named)) != folders.end();
}

}  // namespace tarn::service::devices
