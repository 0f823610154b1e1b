#include "platform/socket/Listening.h"

#include <zmq.h>

#include <stdexcept>

#include "platform/socket/IpcPathClaim.h"
#include "platform/socket/SocketMonitor.h"

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

}  // namespace

Listening::Listening(const SocketSettings& settings) : bound(makeZmqSocket(settings)) {}

Listening::~Listening() {
    unbindInProcessNames();
    unbindAddresses();
}

void Listening::add(const SocketEndpoint& endpoint) {
    const auto address = addressOf(endpoint);
    switch (endpoint.transport()) {
        case Transport::InProcess:
            bound->context()->inProcessNames().bind(endpoint.host(), [&] { bound->bind(address); });
            break;
        case Transport::Ipc:
            bindIpc(address);
            break;
        case Transport::Tcp:
            addresses.push_back(bound->bind(address));
            break;
    }
    all.push_back(endpoint);
}

void Listening::bindIpc(const std::string& address) {
    const auto path = address.substr(ipcPrefix.size());
    try {
        const IpcPathClaim claim(path);
        addresses.push_back(bound->bind(address));
    } catch (const ZmqContextTerminationException&) {
        throw;
    } catch (const std::runtime_error& reason) {
        throw std::runtime_error("cannot listen on " + address + ": " + reason.what());
    }
    files.emplace_back(path);
}

void Listening::unbindInProcessNames() {
    for (const auto& endpoint : all) {
        if (endpoint.transport() == Transport::InProcess) {
            const auto address = addressOf(endpoint);
            bound->context()->inProcessNames().unbind(
                endpoint.host(), [&] { zmq_unbind(bound->handle(), address.c_str()); });
        }
    }
}

// The library closes what listens in the background; whoever binds the same endpoint next must not
// find it open. IPC files it leaves behind. They go first: while it listens, nobody replaces them.
void Listening::unbindAddresses() {
    for (const auto& file : files) {
        file.remove();
    }
    if (addresses.empty()) {
        return;
    }
    try {
        SocketMonitor monitor(*bound, ZMQ_EVENT_CLOSED | ZMQ_EVENT_CLOSE_FAILED);
        const Deadline deadline(std::chrono::seconds(1));
        for (const auto& address : addresses) {
            if (zmq_unbind(bound->handle(), address.c_str()) == 0) {
                monitor.waitForEvent(deadline);
            }
        }
    } catch (const std::runtime_error&) {
        // No descriptor is left, or the context ends: the library closes them a little later.
    }
}

}  // namespace tarn::socket
