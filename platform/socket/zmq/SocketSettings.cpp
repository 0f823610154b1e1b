#include "platform/socket/zmq/SocketSettings.h"

#include "platform/socket/zmq/SocketRole.h"

namespace tarn::socket {

namespace {

namespace option = zmq::sockopt;

constexpr int flushMs = 1000;

// A peer that was launched a moment ago is there within milliseconds: the default interval of 100
// would be most of the waiting.
constexpr int reconnectMs = 10;

// Who waits for a peer that may be away for long tries less and less often, down to this.
constexpr int longestReconnectMs = 500;

bool mayBeAwayForLong(const SocketSettings& settings) {
    return settings.protocol == Protocol::Push || settings.isWatched;
}

// A topic comes behind the name of its command, or behind one byte.
constexpr auto largestAnnouncement = static_cast<std::int64_t>(largestTopic + 10);

void setRoleOptions(ZmqSocket& socket, Protocol protocol) {
    switch (protocol) {
        case Protocol::Reply:
            socket.set(option::router_mandatory, true);  // tell when the client has gone
            break;
        case Protocol::Request:
            socket.set(option::req_relaxed, true);    // ask again after a time-out
            socket.set(option::req_correlate, true);  // and never take the late answer
            break;
        case Protocol::Publish:
            socket.set(option::maxmsgsize, largestAnnouncement);  // nothing else is received
            break;
        case Protocol::Subscribe:
            socket.set(option::subscribe, "");
            break;
        default:
            break;
    }
}

}  // namespace

std::unique_ptr<ZmqSocket> makeZmqSocket(const SocketSettings& settings) {
    const auto& role = roleOf(settings.protocol);
    auto socket = std::make_unique<ZmqSocket>(Context::Get(), role.zmqType);
    socket->set(option::linger, settings.closePolicy == ClosePolicy::Flush ? flushMs : 0);
    socket->set(option::sndhwm, settings.queueLength);
    socket->set(option::rcvhwm, settings.queueLength);
    socket->set(option::reconnect_ivl, reconnectMs);
    if (mayBeAwayForLong(settings)) {
        socket->set(option::reconnect_ivl_max, longestReconnectMs);
    }
    socket->set(option::maxmsgsize, static_cast<std::int64_t>(largestMessage));
    setRoleOptions(*socket, settings.protocol);
    return socket;
}

}  // namespace tarn::socket
