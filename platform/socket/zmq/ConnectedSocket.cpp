#include "platform/socket/zmq/ConnectedSocket.h"

#include <stdexcept>

#include "platform/socket/TrustedEndpoint.h"
#include "platform/socket/curve/ProtectionState.h"

namespace tarn::socket {

namespace {

constexpr int endsOfAttempts = ZMQ_EVENT_CONNECT_RETRIED | ZMQ_EVENT_DISCONNECTED |
                               ZMQ_EVENT_HANDSHAKE_SUCCEEDED | ZMQ_EVENT_HANDSHAKE_FAILED_AUTH |
                               ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL |
                               ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL;

// It does not say so itself; and who of both notices first that only one has keys, and ends the
// connection, is chance.
const char* whyEnded(const curve::ProtectionState& protection) {
    const bool hasKeys = protection && protection->security.own;
    return hasKeys ? "it has another key than is expected of it, or none" : "it may want a key";
}

std::unique_ptr<ZmqSocket> makeFor(const SocketSettings& settings, const SocketEndpoint& peer) {
    auto socket = makeZmqSocket(settings);
    // Only one of a name's addresses is tried. Of "localhost" it must be the one that servers on
    // every interface, and on the loopback address, all have.
    socket->set(zmq::sockopt::ipv6, peer.host() != "localhost");
    curve::protectConnection(*socket, peer, curve::inForce(settings.protection));
    return socket;
}

void checkIsTrusted(const SocketEndpoint& peer) {
    if (const auto why = whyNotTrusted(peer)) {
        throw std::runtime_error(*why);
    }
}

}  // namespace

ConnectedSocket::ConnectedSocket(const SocketSettings& settings, const SocketEndpoint& endpoint,
                                 std::chrono::milliseconds handshakeBound)
    : settings(settings),
      peer(endpoint.transport() == Transport::Tcp ? endpoint.asPeer() : endpoint),
      connected(makeFor(settings, peer)) {
    if (peer.transport() == Transport::InProcess || handshakeBound.count() == 0) {
        connect();
    } else {
        connectAndAwaitHandshake(handshakeBound);
    }
    // Not before: a socket can be watched by one at a time.
    if (settings.isWatched && peer.transport() != Transport::InProcess) {
        losses = std::make_unique<SocketMonitor>(*connected, ZMQ_EVENT_DISCONNECTED);
    }
}

// Whether keys fit is known some messages after the connection is there.
std::optional<std::string> ConnectedSocket::whyRefused(const SocketEndpoint& endpoint,
                                                       std::chrono::milliseconds bound) {
    const SocketSettings settings{.protocol = Protocol::Request,
                                  .closePolicy = ClosePolicy::Discard};
    const auto peer = endpoint.asPeer();
    const auto socket = makeFor(settings, peer);
    SocketMonitor monitor(*socket, endsOfAttempts);
    const auto text = peer.toString(settings.protocol);
    socket->connect(text);
    switch (monitor.waitForEvent(os::Deadline(bound)).value_or(0)) {
        case ZMQ_EVENT_CONNECT_RETRIED:
            return "nobody listens on " + text;
        case ZMQ_EVENT_HANDSHAKE_FAILED_AUTH:
            return text + " does not let this key connect";
        case ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL:
        case ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL:
        case ZMQ_EVENT_DISCONNECTED:
            return text + " ends the connection: " + whyEnded(curve::inForce(settings.protection));
        default:
            return std::nullopt;
    }
}

void ConnectedSocket::follow() {
    if (peer.transport() != Transport::InProcess) {
        return;
    }
    if (connected->context()->inProcessNames().isOver(peer.host(), binding)) {
        drop();
        connected = makeFor(settings, peer);
        connect();
    }
}

bool ConnectedSocket::awaitLoss(const os::Deadline& deadline, int descriptor) {
    if (!losses) {
        throw std::runtime_error("nothing tells of a loss in the same process");
    }
    return losses->waitForEvent(deadline, descriptor).has_value();
}

void ConnectedSocket::drop() {
    connected->set(zmq::sockopt::linger, 0);
}

void ConnectedSocket::connect() {
    const auto address = peer.toString(settings.protocol);
    if (peer.transport() == Transport::InProcess) {
        binding = connected->context()->inProcessNames().connect(
            peer.host(), [&] { connected->connect(address); });
    } else {
        connected->connect(address);
    }
}

// Each attempt that failed is looked at: an impostor is no reason to wait for long.
void ConnectedSocket::connectAndAwaitHandshake(std::chrono::milliseconds bound) {
    checkIsTrusted(peer);
    SocketMonitor monitor(*connected, ZMQ_EVENT_HANDSHAKE_SUCCEEDED | ZMQ_EVENT_CONNECT_RETRIED);
    connect();
    const os::Deadline deadline(bound);
    while (const auto event = monitor.waitForEvent(deadline)) {
        if (*event == ZMQ_EVENT_HANDSHAKE_SUCCEEDED) {
            return;
        }
        checkIsTrusted(peer);
    }
    throw std::runtime_error("nobody answered on " + peer.toString(settings.protocol) + " within " +
                             std::to_string(bound.count()) + " ms");
}

}  // namespace tarn::socket
