#include "platform/socket/Listening.h"

#include <zmq.h>

#include <stdexcept>

#include "platform/socket/IpcPath.h"
#include "platform/socket/SocketMonitor.h"

namespace tarn::socket {

namespace {

constexpr std::string_view ipcScheme = "ipc://";

// The library binds addresses and interfaces, not host names; this one everybody expects to work.
std::string addressOf(const SocketEndpoint& endpoint) {
    if (endpoint.transport() == Transport::Tcp && endpoint.host() == "localhost") {
        return SocketEndpoint(Transport::Tcp, "127.0.0.1", endpoint.port())
            .toString(Protocol::None);
    }
    return endpoint.toString(Protocol::None);
}

void checkIsFree(const std::string& ipcAddress) {
    try {
        checkIpcPathIsFree(ipcAddress.substr(ipcScheme.size()));
    } catch (const std::runtime_error& reason) {
        throw std::runtime_error("cannot listen on " + ipcAddress + ": " + reason.what());
    }
}

}  // namespace

Listening::Listening(const SocketSettings& settings) : bound(makeZmqSocket(settings)) {}

Listening::~Listening() {
    unbindInProcessNames();
    unbindAddresses();
}

void Listening::add(const SocketEndpoint& endpoint) {
    const auto address = addressOf(endpoint);
    if (endpoint.transport() == Transport::InProcess) {
        bound->context()->inProcessNames().bind(endpoint.host(), [&] { bound->bind(address); });
    } else {
        if (endpoint.transport() == Transport::Ipc) {
            checkIsFree(address);
        }
        addresses.push_back(bound->bind(address));
    }
    all.push_back(endpoint);
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

// The library closes what listens in the background, and removes the file of an IPC endpoint after
// that: without waiting, it might be the file of whoever comes next.
void Listening::unbindAddresses() {
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
