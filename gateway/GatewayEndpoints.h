#pragma once

#include "platform/socket/SocketEndpoint.h"

namespace tarn::gateway {

/// Where batches are published unless it is said otherwise: for an IPC endpoint the one with ".pub"
/// behind its name, for TCP the next port. Throws std::invalid_argument where there is no such one.
tarn::socket::SocketEndpoint publishEndpointFor(const tarn::socket::SocketEndpoint& events);

}  // namespace tarn::gateway
