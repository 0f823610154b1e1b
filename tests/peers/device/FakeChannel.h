#pragma once

#include <memory>
#include <string>
#include <vector>

#include "peers/device/EventChannel.h"
#include "platform/device_tree/DeviceNode.h"
#include "proto/monitoring.pb.h"

namespace tarn::test {

/// Keeps what is sent; refuses it while it is broken.
class FakeChannel : public tarn::peers::EventChannel {
  public:
    enum class State { Works, Broken };
    using Event = tarn::proto::monitoring::DeviceToTarnServiceEvent;

    std::string endpoint() const override { return "ipc:///tmp/some-events"; }
    void send(const Event& event) override;

    std::vector<Event> takeSent();

    State state = State::Works;

  private:
    std::vector<Event> sent;
};

using NodePointer = std::shared_ptr<tarn::device_tree::DeviceNode>;

/// A device with one status "Value".
NodePointer makeNode(std::int64_t value);

/// The same with one sub-device.
NodePointer makeNodeWithPart(std::int64_t value);

/// As whoever receives events does with the tree that it has.
void apply(const FakeChannel::Event& event, tarn::device_tree::DeviceNode& node);

}  // namespace tarn::test
