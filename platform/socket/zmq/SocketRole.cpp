#include "platform/socket/zmq/SocketRole.h"

#include <zmq.h>

#include <array>
#include <stdexcept>
#include <string>

namespace tarn::socket {

namespace {

using Opening = SocketRole::Opening;
using Traffic = SocketRole::Traffic;

// By number, from 1.
constexpr std::array<SocketRole, 6> roles{{
    {ZMQ_PUSH, Opening::Connects, Traffic::Sends},
    {ZMQ_PULL, Opening::Binds, Traffic::Receives},
    {ZMQ_ROUTER, Opening::Binds, Traffic::Both},
    {ZMQ_REQ, Opening::Connects, Traffic::Both},
    {ZMQ_XPUB, Opening::Binds, Traffic::Sends},
    {ZMQ_SUB, Opening::Connects, Traffic::Receives},
}};

bool isRole(Protocol protocol) {
    const auto number = static_cast<std::uint32_t>(protocol);
    return number >= 1 && number <= roles.size();
}

}  // namespace

const SocketRole& roleOf(Protocol protocol) {
    const auto number = static_cast<std::uint32_t>(protocol);
    if (!isRole(protocol)) {
        throw std::invalid_argument("no socket role has the number " + std::to_string(number));
    }
    return roles[number - 1];
}

bool connects(Protocol protocol) {
    return isRole(protocol) && roleOf(protocol).opening == Opening::Connects;
}

bool sends(const SocketRole& role) {
    return role.traffic != Traffic::Receives;
}

bool receives(const SocketRole& role) {
    return role.traffic != Traffic::Sends;
}

}  // namespace tarn::socket
