#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/socket/Audience.h"
#include "platform/socket/SocketTypes.h"
#include "platform/socket/TcpProtection.h"
#include "platform/socket/zmq/ZmqSocket.h"

namespace tarn::socket {

/// What is decided about a socket before it is opened.
struct SocketSettings {
    Protocol protocol = Protocol::None;
    ClosePolicy closePolicy = ClosePolicy::Discard;
    int queueLength = 0;              ///< messages, per peer and direction; 0 is what the role has
    std::size_t largestReceived = 0;  ///< bytes; 0 is what the role has
    bool isWatched = false;           ///< whether a connecting socket can be asked for its losses
    Audience audience = Audience::OwnPrograms;  ///< of the files that IPC endpoints are bound to
    /// Whom the endpoints are for that it binds; unless given, what its role is for.
    std::optional<Entrance> entrance = {};
    /// What protects its TCP endpoints; null: what protects the process then.
    std::shared_ptr<TcpProtection::State> protection = {};
    std::string topic = {};  ///< what is subscribed to; everything begins with the empty one
};

/// No message is larger on the wire, in bytes: a connection that brings a larger one is closed
/// before the message is in memory. What publishes takes only announcements, which are far smaller.
inline constexpr std::size_t largestMessage = std::size_t{64} << 20;

/// What a subscriber may subscribe to, in bytes: the library keeps topics at many times their size.
/// Who wants a longer one is cut off.
inline constexpr std::size_t largestTopic = 256;

/// A new socket with these settings, neither bound nor connected. Throws std::runtime_error.
std::unique_ptr<ZmqSocket> makeZmqSocket(const SocketSettings& settings);

}  // namespace tarn::socket
