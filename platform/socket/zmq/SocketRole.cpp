#include "platform/socket/zmq/SocketRole.h"

#include <array>
#include <stdexcept>
#include <string>

namespace tarn::socket {

namespace {

using Opening = SocketRole::Opening;
using Traffic = SocketRole::Traffic;
using Type = zmq::socket_type;

// By number, from 1.
constexpr std::array<SocketRole, 6> roles{{
    {Type::push, Opening::Connects, Traffic::Sends},
    {Type::pull, Opening::Binds, Traffic::Receives},
    {Type::router, Opening::Binds, Traffic::Both},
    {Type::req, Opening::Connects, Traffic::Both},
    {Type::xpub, Opening::Binds, Traffic::Sends},
    {Type::sub, Opening::Connects, Traffic::Receives},
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
