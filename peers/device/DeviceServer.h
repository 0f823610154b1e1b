#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "platform/socket/RequestServer.h"
#include "platform/socket/SocketEndpoint.h"
#include "proto/monitoring.fwd.h"

namespace tarn::peers {

/// The monitoring endpoint of a device. One thread at a time.
class DeviceServer {
  public:
    using Time = std::chrono::steady_clock::time_point;
    using Request = tarn::proto::monitoring::TarnServiceToDeviceRequest;
    using Reply = tarn::proto::monitoring::DeviceToTarnServiceReply;

    /// Nothing: the request gets no answer.
    using Answer = std::function<std::optional<Reply>(const Request&)>;

    /// Binds; throws std::runtime_error, also when somebody listens there already.
    DeviceServer(const tarn::socket::SocketEndpoint& endpoint, Answer answer);

    /// Waits for one request and answers it. Returns early when the time has come, or when
    /// `descriptor` is readable. What goes wrong is logged.
    void serveOne(Time until, int descriptor);

  private:
    const std::unique_ptr<tarn::socket::Socket> socket;
    tarn::socket::RequestServer server;
};

}  // namespace tarn::peers
