#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "peers/device/DifferencePublisher.h"
#include "proto/monitoring.fwd.h"

namespace tarn::device_tree {
class DeviceNode;
}

namespace tarn::peers {

class EventChannel;

/// A device on the monitoring protocol: holds its state, answers requests for it, and tells of its
/// changes. Where it is too deep or too large for the service it says so of itself. One thread at a
/// time.
class Device {
  public:
    using Request = tarn::proto::monitoring::TarnServiceToDeviceRequest;
    using Reply = tarn::proto::monitoring::DeviceToTarnServiceReply;
    using State = DifferencePublisher::State;
    using Time = DifferencePublisher::Time;

    /// Without `events` the device names no event endpoint, and is polled. `state` is never null.
    explicit Device(State state, std::unique_ptr<EventChannel> events = nullptr);
    ~Device();

    /// The device is now like this.
    void update(State newState, Time now);

    Reply answer(const Request& request, Time now);

    /// Since a stop command was answered.
    bool isAskedToStop() const { return askedToStop; }

    /// Tells that the device goes: the last thing to do with it.
    void end();

  private:
    void describe(Reply& reply, Time now);
    void refuseWhatIsTooMuch(Reply& reply, State& shown);
    void control(const Request& request, Reply& reply);

    State state;
    const std::unique_ptr<EventChannel> events;
    std::optional<DifferencePublisher> publisher;
    bool askedToStop = false;
    std::string refusal;  // of the last description; empty when it was good
};

}  // namespace tarn::peers
