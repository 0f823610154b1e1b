#include "platform/socket/NobodyListens.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "platform/socket/IpcPathClaim.h"
#include "platform/socket/TrustedEndpoint.h"
#include "platform/socket/zmq/ConnectedSocket.h"

namespace tarn::socket {

namespace {

std::string textOf(const SocketEndpoint& endpoint) {
    return endpoint.toString(Protocol::Request);
}

std::string pathOf(const SocketEndpoint& endpoint) {
    constexpr std::string_view scheme = "ipc://";
    return textOf(endpoint).substr(scheme.size());
}

std::optional<std::string> problemOfIpc(const SocketEndpoint& endpoint) {
    if (auto why = whyNotTrusted(endpoint)) {
        return why;
    }
    const int failure = knockOnIpcPath(pathOf(endpoint));
    switch (failure) {
        case ENOENT:
        case ECONNREFUSED:  // the file was left behind
            return "nobody listens on " + textOf(endpoint);
        case 0:
        case EAGAIN:  // many are about to connect
            return std::nullopt;
        default:
            return "cannot connect to " + textOf(endpoint) + ": " +
                   std::generic_category().message(failure);
    }
}

}  // namespace

std::optional<std::string> whyNobodyListens(const SocketEndpoint& endpoint,
                                            std::chrono::milliseconds bound) {
    try {
        switch (endpoint.transport()) {
            case Transport::Ipc:
                return problemOfIpc(endpoint);
            case Transport::Tcp:
                return ConnectedSocket::whyRefused(endpoint, bound);
            default:
                return std::nullopt;
        }
    } catch (const std::runtime_error&) {  // no descriptor is left, for one
        return std::nullopt;
    }
}

}  // namespace tarn::socket
