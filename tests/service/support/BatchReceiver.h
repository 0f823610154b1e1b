#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "platform/socket/Socket.h"
#include "proto/service_event.pb.h"

namespace tarn::test {

/// The receiving end of an events endpoint.
class BatchReceiver {
  public:
    /// Listens at an endpoint of its own.
    BatchReceiver();

    /// Listens again at the endpoint of one that is gone.
    explicit BatchReceiver(const std::string& endpoint);

    const std::string& endpoint() const { return address; }

    /// The next batch; throws when none comes within the bound.
    proto::service_event::ServiceEventBatch next();

    /// The next batch that carries anything.
    proto::service_event::ServiceEventBatch nextFilled();

    /// Whether a further batch comes within the bound.
    bool hasMore(std::chrono::milliseconds within = std::chrono::milliseconds(0));

  private:
    const std::string address;
    socket::Socket socket{"batch receiver", socket::ClosePolicy::Discard};
};

/// "3 cam1 class 2" for the removal of the capture device cam1, and so on.
std::string describe(const proto::service_event::ServiceEvent& event);
std::vector<std::string> describeEvents(const proto::service_event::ServiceEventBatch& batch);

}  // namespace tarn::test
