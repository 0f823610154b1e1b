#pragma once

#include <chrono>
#include <memory>

#include "proto/service_event.fwd.h"

namespace tarn::socket {
class Socket;
class SocketEndpoint;
}  // namespace tarn::socket

namespace tarn::cli {

/// The service's batches of events. Used by one thread.
class BatchSubscription {
  public:
    enum class From {
        Gateway,  ///< subscribes at the endpoint, again and again until somebody is there
        Service,  ///< binds the endpoint, in the gateway's place
    };
    enum class Received { Nothing, Batch, Garbage };

    /// CommandError when the endpoint cannot be bound.
    BatchSubscription(From from, const tarn::socket::SocketEndpoint& endpoint);
    ~BatchSubscription();

    /// Waits for the next message; Nothing when `bound` passed, or `interruption` can be read.
    Received next(proto::service_event::ServiceEventBatch& batch, std::chrono::milliseconds bound,
                  int interruption);

  private:
    std::unique_ptr<tarn::socket::Socket> socket;
};

}  // namespace tarn::cli
