#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/socket/TcpProtection.h"
#include "platform/socket/curve/KeyConnections.h"

namespace tarn::socket {

class ZmqSocket;

/// What sockets share with the protection that they were opened under.
struct TcpProtection::State {
    explicit State(TcpSecurity chosen) : security(std::move(chosen)) {}

    const TcpSecurity security;
    curve::KeyConnections connections;

    /// Whether who has the key may connect there. Any thread.
    bool admits(const std::string& key, Entrance entrance) const;
};

namespace curve {

using ProtectionState = std::shared_ptr<TcpProtection::State>;

/// The one that was chosen, or that of the process; null: none.
ProtectionState inForce(const ProtectionState& chosen);

/// Sets the socket up for the next endpoint that it binds, or connects to; `state` may be null.
/// Throws std::runtime_error for an endpoint that must not be used without keys.
void protectBinding(ZmqSocket& socket, const SocketEndpoint& endpoint, Entrance entrance,
                    const ProtectionState& state);
void protectConnection(ZmqSocket& socket, const SocketEndpoint& endpoint,
                       const ProtectionState& state);

/// An entrance as the messaging library hands it on, and back.
const char* domainOf(Entrance entrance);
std::optional<Entrance> entranceOf(std::string_view domain);

}  // namespace curve

}  // namespace tarn::socket
