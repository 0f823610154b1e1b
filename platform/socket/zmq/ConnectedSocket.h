#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "platform/socket/SocketEndpoint.h"
#include "platform/socket/zmq/InProcessNames.h"
#include "platform/socket/zmq/SocketMonitor.h"
#include "platform/socket/zmq/SocketSettings.h"

namespace tarn::socket {

/// A socket that is connected to one endpoint. One thread at a time.
class ConnectedSocket {
  public:
    /// Waits until the peer has answered the handshake, at most `handshakeBound`; 0 does not wait,
    /// and in-process there is nothing to wait for. Throws std::runtime_error, and does not wait
    /// any longer when the peer is an impostor (TrustedListener); without waiting, nothing is sent
    /// to one, which is said in the log.
    ConnectedSocket(const SocketSettings& settings, const SocketEndpoint& endpoint,
                    std::chrono::milliseconds handshakeBound);

    /// Why a connection to a TCP endpoint fails at the first attempt; nothing when it does not, and
    /// when that takes longer than `bound`. Throws std::runtime_error.
    static std::optional<std::string> whyRefused(const SocketEndpoint& endpoint,
                                                 std::chrono::milliseconds bound);

    /// Connects again if the peer was in-process and has closed. To be called before a send, or a
    /// wait for the unasked.
    void follow();

    /// Of one that is watched, over IPC and TCP: waits until the connection is lost, or was since
    /// this was asked last; false when the time has passed, or `descriptor` became readable, first.
    /// Throws std::runtime_error in-process.
    bool awaitLoss(const os::Deadline& deadline, int descriptor);

    /// Makes closing discard what is unsent, whatever the close policy.
    void drop();

    ZmqSocket& socket() { return *connected; }
    const SocketEndpoint& endpoint() const { return peer; }

  private:
    void connect();
    void connectAndAwaitHandshake(std::chrono::milliseconds bound);

    const SocketSettings settings;
    const SocketEndpoint peer;
    std::unique_ptr<ZmqSocket> connected;
    std::unique_ptr<SocketMonitor> losses;  // ends before what it watches
    InProcessNames::Binding binding = 0;
};

}  // namespace tarn::socket
