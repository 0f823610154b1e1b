#pragma once

#include <functional>
#include <memory>

namespace tarn::proto::monitoring {
class DeviceToTarnServiceEvent;
}
namespace tarn::device_tree {
class DeviceNode;
}

namespace tarn::service::devices {

/// Keeps the device tree equal to what a controller last said of its device, by sending what has
/// changed since. An event that could not be sent is not forgotten: the next one is computed from
/// what the tree holds, not from what it should hold. One thread at a time.
class DevicePublisher {
  public:
    /// Sends an event; false when it was not sent.
    using Notify = std::function<bool(const tarn::proto::monitoring::DeviceToTarnServiceEvent*)>;

    explicit DevicePublisher(Notify notify);

    /// The device is now as `node` says, or absent when that is null.
    void updateDeviceTree(const std::shared_ptr<device_tree::DeviceNode>& node);

    /// Tries again what could not be sent; else does nothing.
    void sendWhatIsLeft();

  private:
    bool publish(const std::shared_ptr<device_tree::DeviceNode>& node);

    const Notify notify;
    std::shared_ptr<device_tree::DeviceNode> last;    ///< as the tree holds it
    std::shared_ptr<device_tree::DeviceNode> wanted;  ///< as the tree should hold it
};

}  // namespace tarn::service::devices
