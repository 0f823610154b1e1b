#pragma once

#include <iosfwd>
#include <optional>

#include "platform/socket/SocketEndpoint.h"

namespace tarn::gateway {

/// What the command line says.
struct GatewayOptions {
    tarn::socket::SocketEndpoint events;
    tarn::socket::SocketEndpoint publish;
    tarn::socket::SocketEndpoint requests;  ///< the service's
};

/// Nothing when the process is to end at once, with `exitStatus`: 0 after --help and --version, 2
/// for a line that makes no sense, which is said on `err`.
std::optional<GatewayOptions> parseGatewayOptions(int argc, const char* const* argv,
                                                  std::ostream& out, std::ostream& err,
                                                  int& exitStatus);

}  // namespace tarn::gateway
