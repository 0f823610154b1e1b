#pragma once

#include <optional>

#include "platform/access/TcpAccess.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::program {
class CommandLine;
}

namespace tarn::gateway {

/// What the command line says.
struct GatewayOptions {
    tarn::socket::SocketEndpoint events;
    tarn::socket::SocketEndpoint publish;
    tarn::socket::SocketEndpoint requests;  ///< the service's
    tarn::access::TcpAccessSettings tcpAccess = {};
};

/// Nothing when the program is to end at once.
std::optional<GatewayOptions> parseGatewayOptions(program::CommandLine& line);

}  // namespace tarn::gateway
