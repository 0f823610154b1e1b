#include "platform/socket/zmq/SocketSettings.h"

#include <zmq.h>

#include "platform/socket/zmq/SocketRole.h"

namespace tarn::socket {

namespace {

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
            socket.setOption(ZMQ_ROUTER_MANDATORY, 1);  // tell when the client has gone
            break;
        case Protocol::Request:
            socket.setOption(ZMQ_REQ_RELAXED, 1);    // ask again after a time-out
            socket.setOption(ZMQ_REQ_CORRELATE, 1);  // and never take the late answer
            break;
        case Protocol::Publish:
            socket.setOption(ZMQ_MAXMSGSIZE, largestAnnouncement);  // nothing else is received
            break;
        case Protocol::Subscribe:
            socket.setOption(ZMQ_SUBSCRIBE, std::string());
            break;
        default:
            break;
    }
}

}  // namespace

std::unique_ptr<ZmqSocket> makeZmqSocket(const SocketSettings& settings) {
    const auto& role = roleOf(settings.protocol);
    auto socket = std::make_unique<ZmqSocket>(Context::Get(), role.zmqType);
    socket->setOption(ZMQ_LINGER, settings.closePolicy == ClosePolicy::Flush ? flushMs : 0);
    socket->setOption(ZMQ_SNDHWM, settings.queueLength);
    socket->setOption(ZMQ_RCVHWM, settings.queueLength);
    socket->setOption(ZMQ_RECONNECT_IVL, reconnectMs);
    if (mayBeAwayForLong(settings)) {
        socket->setOption(ZMQ_RECONNECT_IVL_MAX, longestReconnectMs);
    }
    socket->setOption(ZMQ_MAXMSGSIZE, static_cast<std::int64_t>(largestMessage));
    setRoleOptions(*socket, settings.protocol);
    return socket;
}

}  // namespace tarn::socket
