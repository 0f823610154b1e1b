#include "platform/socket/zmq/SocketSettings.h"

#include "platform/socket/Limits.h"
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

// What encryption adds to a message.
constexpr std::int64_t largestSeal = 64;

constexpr int longQueue = 1000;

int receivingQueueOf(const SocketSettings& settings) {
    const int ofRole = settings.protocol == Protocol::Reply ? requestQueueLength : longQueue;
    return settings.queueLength != 0 ? settings.queueLength : ofRole;
}

// The library hears of what was taken out of a queue half a queue later. Only in one of twice the
// length there is always room for an answer to each of so many requests.
int sendingQueueOf(const SocketSettings& settings) {
    const auto receiving = receivingQueueOf(settings);
    return settings.protocol == Protocol::Reply ? 2 * receiving : receiving;
}

std::int64_t largestReceivedBy(const SocketSettings& settings) {
    const auto ofRole = settings.protocol == Protocol::Reply ? largestRequestSize : largestMessage;
    return static_cast<std::int64_t>(settings.largestReceived != 0 ? settings.largestReceived
                                                                   : ofRole);
}

void setRoleOptions(ZmqSocket& socket, const SocketSettings& settings) {
    switch (settings.protocol) {
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
            socket.set(option::subscribe, settings.topic);
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
    socket->set(option::sndhwm, sendingQueueOf(settings));
    socket->set(option::rcvhwm, receivingQueueOf(settings));
    socket->set(option::reconnect_ivl, reconnectMs);
    if (mayBeAwayForLong(settings)) {
        socket->set(option::reconnect_ivl_max, longestReconnectMs);
    }
    socket->set(option::maxmsgsize, largestReceivedBy(settings) + largestSeal);
    if (role.opening == SocketRole::Opening::Binds) {
        socket->set(option::handshake_ivl, static_cast<int>(handshakeWithin.count()));
    }
    setRoleOptions(*socket, settings);
    return socket;
}

}  // namespace tarn::socket
