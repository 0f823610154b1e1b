#pragma once

#include "cli/events/BatchSource.h"
#include "platform/socket/Socket.h"

namespace tarn::cli {

/// Receives the service's batches in the gateway's place.
class BatchSubscription : public BatchSource {
  public:
    /// Binds the endpoint; CommandError when it cannot be bound.
    explicit BatchSubscription(const socket::SocketEndpoint& endpoint);

    Received next(proto::service_event::ServiceEventBatch& batch, std::chrono::milliseconds bound,
                  int interruption) override;

  private:
    socket::Socket socket;
};

/// Waits for a message, as BatchSource::next does, and parses it into `message`.
BatchSource::Received receiveNext(socket::Socket& socket, google::protobuf::Message& message,
                                  std::chrono::milliseconds bound, int interruption);

}  // namespace tarn::cli
