#pragma once

#include <string>

#include "proto/monitoring.fwd.h"

namespace tarn::peers {

/// The way on which a device's events reach the service. It keeps their order.
class EventChannel {
  public:
    virtual ~EventChannel() = default;

    /// Where the service has to listen, as told in the device's description.
    virtual std::string endpoint() const = 0;

    /// Never waits. Throws std::runtime_error when the event cannot be taken now.
    virtual void send(const tarn::proto::monitoring::DeviceToTarnServiceEvent& event) = 0;
};

}  // namespace tarn::peers
