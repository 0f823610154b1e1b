#pragma once

#include "peers/device/EventChannel.h"
#include "platform/socket/Socket.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::peers {

/// Events over a one-way socket, which the service binds. What is unsent at the end is let out for
/// up to a second. One thread at a time.
class PushChannel : public EventChannel {
  public:
    /// Nobody needs to listen yet. Throws std::runtime_error.
    explicit PushChannel(const tarn::socket::SocketEndpoint& endpoint);

    std::string endpoint() const override;
    void send(const tarn::proto::monitoring::DeviceToTarnServiceEvent& event) override;

  private:
    const tarn::socket::SocketEndpoint serviceEnd;
    tarn::socket::Socket socket;
};

}  // namespace tarn::peers
