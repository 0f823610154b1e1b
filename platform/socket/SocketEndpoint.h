#pragma once

#include <cstdint>
#include <string>

#include "platform/socket/SocketTypes.h"

namespace tarn::socket {

/// The address of a socket: a transport, a host (TCP) or name (IPC, in-process), and a port (TCP).
/// A value; a default-constructed one is IPC with an empty name.
///
/// Text forms: "ipc:///tmp/requests" (name "requests"), "ipc:///run/x.sock" (name "/run/x.sock": an
/// IPC name is a file under /tmp unless it is an absolute path), "inproc://name",
/// "tcp://host:port" where host may be "*" (every interface) or a bracketed IPv6 address.
class SocketEndpoint {
  public:
    SocketEndpoint() = default;
    SocketEndpoint(Transport transport, std::string host, std::uint16_t port);

    /// Throws std::invalid_argument, with the text in the message, for anything that is not one of
    /// the forms above: unknown transport, empty name, port missing or outside 1 to 65535, an IPC
    /// path longer than the system allows, control characters.
    static SocketEndpoint FromString(const std::string& text);

    Transport transport() const { return transportValue; }
    const std::string& host() const { return hostValue; }
    std::uint16_t port() const { return portValue; }

    /// The text form, which FromString reads back. The roles that connect cannot connect to "*", so
    /// for them that host is rendered as "localhost"; the others, and `Protocol::None`, keep it.
    std::string toString(Protocol protocol) const;

    /// The same transport and port; the host "*" replaced by "localhost", any other kept.
    SocketEndpoint asPeer() const;

    friend bool operator==(const SocketEndpoint&, const SocketEndpoint&) = default;

  private:
    Transport transportValue = Transport::Ipc;
    std::string hostValue;
    std::uint16_t portValue = 0;
};

}  // namespace tarn::socket
