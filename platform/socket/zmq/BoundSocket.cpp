#include "platform/socket/zmq/BoundSocket.h"

#include <algorithm>
#include <stdexcept>

#include "platform/socket/IpcListener.h"
#include "platform/socket/IpcPathClaim.h"
#include "platform/socket/curve/ProtectionState.h"
#include "platform/socket/zmq/SocketMonitor.h"

namespace tarn::socket {

namespace {

constexpr std::string_view ipcPrefix = "ipc://";

// The library binds addresses and interfaces, not host names; this one everybody expects to work.
std::string addressOf(const SocketEndpoint& endpoint) {
    if (endpoint.transport() == Transport::Tcp && endpoint.host() == "localhost") {
        return SocketEndpoint(Transport::Tcp, "127.0.0.1", endpoint.port())
            .toString(Protocol::None);
    }
    return endpoint.toString(Protocol::None);
}

Entrance entranceOf(Protocol protocol) {
    return protocol == Protocol::Pull ? Entrance::Devices : Entrance::Clients;
}

}  // namespace

BoundSocket::BoundSocket(const SocketSettings& settings)
    : audience(settings.audience),
      entrance(settings.entrance.value_or(entranceOf(settings.protocol))),
      protection(curve::inForce(settings.protection)),
      bound(makeZmqSocket(settings)) {}

void BoundSocket::noteSender(const Origin& origin) {
    if (protection && !origin.provenKey().empty()) {
        protection->connections.note(origin.connection(), origin.provenKey());
    }
}

BoundSocket::~BoundSocket() {
    unbind(all);
}

void BoundSocket::add(const SocketEndpoint& endpoint) {
    const auto address = bind(endpoint);
    all.push_back({endpoint, address});
    if (endpoint.transport() == Transport::Ipc) {
        all.back().file.emplace(address.substr(ipcPrefix.size()));
    }
}

std::string BoundSocket::bind(const SocketEndpoint& endpoint) {
    const auto address = addressOf(endpoint);
    curve::protectBinding(*bound, endpoint, entrance, protection);
    switch (endpoint.transport()) {
        case Transport::InProcess:
            bound->context()->inProcessNames().bind(endpoint.host(), [&] { bound->bind(address); });
            return address;
        case Transport::Ipc:
            return bindIpc(address);
        case Transport::Tcp:
            break;
    }
    return bound->bind(address);
}

std::string BoundSocket::bindIpc(const std::string& address) {
    try {
        const auto path = address.substr(ipcPrefix.size());
        const IpcPathClaim claim(path);
        return bound->bind(address, listenOnIpcPath(path, audience));
    } catch (const ZmqContextTerminationException&) {
        throw;
    } catch (const std::runtime_error& reason) {
        throw std::runtime_error("cannot listen on " + address + ": " + reason.what());
    }
}

void BoundSocket::remove(const SocketEndpoint& endpoint) {
    const auto found = std::find_if(all.begin(), all.end(), [&](const Bound& candidate) {
        return candidate.endpoint == endpoint;
    });
    if (found != all.end()) {
        std::list<Bound> removed;
        removed.splice(removed.begin(), all, found);
        unbind(removed);
    }
}

std::optional<Transport> BoundSocket::onlyTransport() const {
    std::optional<Transport> only;
    for (const auto& one : all) {
        if (only && *only != one.endpoint.transport()) {
            return std::nullopt;
        }
        only = one.endpoint.transport();
    }
    return only;
}

std::string BoundSocket::describe(Protocol protocol) const {
    std::string text;
    for (const auto& one : all) {
        text += (text.empty() ? "" : ", ") + one.endpoint.toString(protocol);
    }
    return text;
}

void BoundSocket::unbind(const std::list<Bound>& those) {
    for (const auto& one : those) {
        if (one.endpoint.transport() == Transport::InProcess) {
            unbindInProcessName(one);
        }
    }
    unbindAddresses(those);
}

void BoundSocket::unbindInProcessName(const Bound& name) {
    bound->context()->inProcessNames().unbind(name.endpoint.host(),
                                              [&] { bound->unbind(name.address); });
}

// The library closes what listens in the background; whoever binds the same endpoint next must not
// find it open. IPC files it leaves behind. They go first: while it listens, nobody replaces them.
void BoundSocket::unbindAddresses(const std::list<Bound>& those) {
    for (const auto& one : those) {
        if (one.file) {
            one.file->remove();
        }
    }
    try {
        std::optional<SocketMonitor> monitor;
        const os::Deadline deadline(std::chrono::seconds(1));
        for (const auto& one : those) {
            if (one.endpoint.transport() == Transport::InProcess) {
                continue;
            }
            if (!monitor) {
                monitor.emplace(*bound, ZMQ_EVENT_CLOSED | ZMQ_EVENT_CLOSE_FAILED);
            }
            if (bound->unbind(one.address)) {
                monitor->waitForEvent(deadline);
            }
        }
    } catch (const std::runtime_error&) {
        // No descriptor is left, or the context ends: the library closes them a little later.
    }
}

}  // namespace tarn::socket
