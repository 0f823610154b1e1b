#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "proto/job_monitoring.fwd.h"

namespace tarn::socket {
class Socket;
class SocketEndpoint;
}  // namespace tarn::socket

namespace tarn::cli {

/// What a job publishes. Used by one thread.
class JobEventSubscription {
  public:
    /// The endpoint need not exist yet: it is connected to in the background, again and again.
    explicit JobEventSubscription(const tarn::socket::SocketEndpoint& eventEndpoint);
    ~JobEventSubscription();

    /// The next event; nothing when `bound` passed, when `interruption` can be read, or for a
    /// message that is no event.
    std::optional<proto::job_monitoring::JobEvent> next(std::chrono::milliseconds bound,
                                                        int interruption);

  private:
    std::unique_ptr<tarn::socket::Socket> socket;
};

}  // namespace tarn::cli
