#pragma once

#include "platform/socket/SocketEndpoint.h"

namespace tarn::socket {

/// Where the gateway publishes what comes in on the events endpoint, unless either is told
/// otherwise: for an IPC endpoint the one with ".pub" behind its name, for TCP the next port.
/// Throws std::invalid_argument where there is no such one.
SocketEndpoint publishingEndpointFor(const SocketEndpoint& events);

}  // namespace tarn::socket
