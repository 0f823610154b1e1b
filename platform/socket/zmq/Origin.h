#pragma once

#include <optional>
#include <string>
#include <zmq.hpp>

#include "platform/socket/Peer.h"

namespace tarn::socket {

/// What the messaging library notes of the connection that a message came by. Cheap to take for
/// each message; the kernel is asked only when somebody wants to know who that is.
class Origin {
  public:
    Origin() = default;
    explicit Origin(zmq::message_t& frame);

    /// `only` is the transport of all that the receiving socket is bound to, if they have one in
    /// common: somebody of whom another is noted, or nothing, is somebody unknown who came by it.
    Peer peer(std::optional<Transport> only) const;

    /// Of a connection over TCP that proved a key; then that, and the connection's descriptor.
    const std::string& provenKey() const { return key; }
    int connection() const { return descriptor; }

  private:
    Peer noted() const;
    Peer overIpc() const;

    // Of the connection, as long as it is there; then it may be another's.
    int descriptor = -1;
    // Over TCP the numeric address, over IPC "localhost:UID:GID:PID", as it was when he connected;
    // empty in-process.
    std::string address;
    std::string key;
};

}  // namespace tarn::socket
