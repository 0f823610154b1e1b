#pragma once

#include <optional>
#include <string>

#include "platform/socket/SocketEndpoint.h"

namespace tarn::socket {

/// Why one does not connect to the endpoint as it is now: "cannot connect to ipc:///tmp/requests:
/// it belongs to user mallory (1001), ..." (platform/os/TrustedListener.h). Nothing when one does,
/// when nobody is there, and for other transports. Any thread; does not wait.
std::optional<std::string> whyNotTrusted(const SocketEndpoint& endpoint);

}  // namespace tarn::socket
