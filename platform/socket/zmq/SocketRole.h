#pragma once

#include <zmq.hpp>

#include "platform/socket/SocketTypes.h"

namespace tarn::socket {

/// How a role is made of the messaging library's means.
struct SocketRole {
    enum class Opening { Binds, Connects };
    enum class Traffic { Sends, Receives, Both };

    zmq::socket_type zmqType;
    Opening opening;
    Traffic traffic;
};

/// Throws std::invalid_argument for `Protocol::None` and for numbers that are no role.
const SocketRole& roleOf(Protocol protocol);

/// Whether sockets of this role connect; false also for what is no role.
bool connects(Protocol protocol);

bool sends(const SocketRole& role);
bool receives(const SocketRole& role);

}  // namespace tarn::socket
