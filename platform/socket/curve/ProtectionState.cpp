#include "platform/socket/curve/ProtectionState.h"

#include <array>
#include <stdexcept>
#include <utility>

#include "platform/socket/zmq/ZmqSocket.h"

namespace tarn::socket {

bool TcpProtection::State::admits(const std::string& key, Entrance entrance) const {
    if (key.empty()) {
        return false;
    }
    return (security.own && key == security.own->publicKey) ||
           (security.clients && security.clients->admits(key, entrance));
}

namespace curve {

namespace {

namespace option = zmq::sockopt;

// ZMQ_ZAP_ENFORCE_DOMAIN, which the library has and its header keeps back as a draft: where nobody
// answers who may connect, nobody may. Without it everybody might.
constexpr zmq::sockopt::integral_option<93, int, true> onlyWhoWasAskedAbout;

constexpr std::array<std::pair<Entrance, const char*>, 3> domains{{
    {Entrance::Clients, "clients"},
    {Entrance::Devices, "devices"},
    {Entrance::OwnPrograms, "own programs"},
}};

// Whether an endpoint has keys. Throws where it needs some.
bool isProtected(const SocketEndpoint& endpoint, const ProtectionState& state) {
    if (endpoint.transport() != Transport::Tcp || !state) {
        return false;
    }
    if (!state->security.own && isBeyondThisMachine(endpoint) &&
        state->security.plain == TcpSecurity::Plain::WithinThisMachine) {
        throw std::runtime_error(refusalOfPlain(endpoint));
    }
    return state->security.own.has_value();
}

const std::string& expectedKey(const SocketEndpoint& endpoint, const TcpSecurity& security) {
    const auto named = security.serverKeys.find(endpoint.toString(Protocol::Request));
    if (named != security.serverKeys.end()) {
        return named->second;
    }
    return security.serverKey.empty() ? security.own->publicKey : security.serverKey;
}

void setKeys(ZmqSocket& socket, const keys::KeyPair& own) {
    socket.set(option::curve_publickey, own.publicKey);
    socket.set(option::curve_secretkey, own.secretKey);
}

// The library's limit on messages holds for those of the handshake, too.
void makeRoomForHandshake(ZmqSocket& socket) {
    constexpr std::int64_t largestHandshake = 1024;
    if (socket.get(option::maxmsgsize) < largestHandshake) {
        socket.set(option::maxmsgsize, largestHandshake);
    }
}

}  // namespace

ProtectionState inForce(const ProtectionState& chosen) {
    return chosen ? chosen : TcpProtection::OfProcess();
}

// What is set counts for the endpoints that are bound afterwards: a socket may have protected and
// other ones. Who cannot be asked about (the protection has ended) does not get in.
// Nor can the domain be taken back: of an IPC endpoint that is bound later the library asks, too.
void protectBinding(ZmqSocket& socket, const SocketEndpoint& endpoint, Entrance entrance,
                    const ProtectionState& state) {
    const bool hasKeys = isProtected(endpoint, state);
    if (hasKeys) {
        setKeys(socket, *state->security.own);
        socket.set(option::zap_domain, std::string(domainOf(entrance)));
        socket.set(onlyWhoWasAskedAbout, true);
        makeRoomForHandshake(socket);
        state->connections.addPort(endpoint.port(), entrance);
    }
    socket.set(option::curve_server, hasKeys);
}

void protectConnection(ZmqSocket& socket, const SocketEndpoint& endpoint,
                       const ProtectionState& state) {
    if (isProtected(endpoint, state)) {
        setKeys(socket, *state->security.own);
        socket.set(option::curve_serverkey, expectedKey(endpoint, state->security));
    }
}

const char* domainOf(Entrance entrance) {
    return domains.at(static_cast<std::size_t>(entrance)).second;
}

std::optional<Entrance> entranceOf(std::string_view domain) {
    for (const auto& [entrance, name] : domains) {
        if (name == domain) {
            return entrance;
        }
    }
    return std::nullopt;
}

}  // namespace curve

}  // namespace tarn::socket
