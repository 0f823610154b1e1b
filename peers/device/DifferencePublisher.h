#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "proto/monitoring.fwd.h"

namespace tarn::device_tree {
class DeviceNode;
}

namespace tarn::peers {

class EventChannel;

/// Sends the changes of a device as events: whoever was given its description and applies the
/// events that follow holds the device's state.
///
/// Descriptions and events take different ways to the service, so four things must not happen:
///  - A change between the last event and a description is told to nobody else. The state that was
///    told last, by either, is therefore the reference of the next difference; and when a
///    description tells what no event did (several may ask, and older events may still be on their
///    way), the next event is the whole device, which holds whatever came before it.
///  - An event overtakes the description that it is a change of, and is undone by it. Events wait
///    until the description has surely arrived: until the next ping, or for `settlingTime`.
///  - An event that could not be sent is forgotten. The reference stays what it was.
///  - A device that was away so shortly that the service did not notice stays what it was before:
///    who pings without ever having asked for a description has that of an earlier life, and is
///    told of the whole device.
///
/// The service takes nothing that is too deep or too large (DeviceLimits.h): such a state is told
/// as a device in error, and that is the reference then, since it is what arrived.
///
/// One thread at a time: describing and sending must not overlap.
class DifferencePublisher {
  public:
    using Time = std::chrono::steady_clock::time_point;
    using State = std::shared_ptr<tarn::device_tree::DeviceNode>;

    /// `channel` must outlive this.
    explicit DifferencePublisher(EventChannel& channel) : channel(channel) {}

    /// `state` is being told in full, as an answer.
    void described(const State& state, Time now);

    /// Who pings has a description in use. Where nobody asked for one, it is that of an earlier
    /// life, and the next event is the whole device.
    void pinged();

    /// Sends what differs from what was told last. A failure is logged.
    void update(const State& state, Time now);

    /// Tells that the device of that id is about to go.
    void shutDown(const std::string& id);

    static constexpr std::chrono::milliseconds settlingTime{2000};

  private:
    enum class Phase {
        Unasked,   ///< nobody knows the device: there is nothing to tell differences to
        Settling,  ///< a description is on its way
        Following,
    };
    enum class Health { Sends, Fails };

    bool mayTell(Time now);
    bool send(const tarn::proto::monitoring::DeviceToTarnServiceEvent& event);

    EventChannel& channel;
    Phase phase = Phase::Unasked;
    Health health = Health::Sends;
    Time describedAt{};
    State told;
    bool wholeIsDue = false;
};

}  // namespace tarn::peers
