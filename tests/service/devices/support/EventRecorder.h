#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "platform/socket/SocketListener.h"
#include "proto/monitoring.pb.h"

namespace tarn::test {

/// Stands in the place of the device event listener and keeps what the controllers send.
class EventRecorder : public socket::utils::SocketListener {
  public:
    /// Listens at the internal event endpoint.
    EventRecorder();
    ~EventRecorder() override;

    /// The events so far, once there are `count`. Throws when they do not come within the bound.
    std::vector<proto::monitoring::DeviceToTarnServiceEvent> waitFor(std::size_t count);

    std::shared_ptr<google::protobuf::Message> getBaseMessage() override;
    void handleMessage(std::shared_ptr<google::protobuf::Message> message,
                       std::shared_ptr<socket::Socket> socket) override;

  private:
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<proto::monitoring::DeviceToTarnServiceEvent> events;
};

}  // namespace tarn::test
