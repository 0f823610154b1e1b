#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/socket/SocketEndpoint.h"

namespace tarn::socket {

/// Why a request to the endpoint would wait in vain: "nobody listens on ipc:///tmp/requests", or
/// that the system does not let this process in, or that the socket is a user's who is not trusted.
/// Nothing when somebody listens there, and when that is not known: in-process, and over TCP when
/// the other side neither accepts nor refuses within `bound`. Makes a connection of its own, and
/// closes it again. Any thread; does not throw.
std::optional<std::string> whyNobodyListens(const SocketEndpoint& endpoint,
                                            std::chrono::milliseconds bound);

}  // namespace tarn::socket
