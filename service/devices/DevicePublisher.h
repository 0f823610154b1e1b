#pragma once

#include <functional>
#include <memory>

#include "platform/device_tree/EventHelper.h"

namespace tarn::service::devices {

/// Keeps the device tree equal to what a controller last said of its device, by sending what has
/// changed since. An event that could not be sent is not forgotten: the next one is computed from
/// what the tree holds, not from what it should hold. A device that is too deep or too large for
/// any event (DeviceLimits.h) is told as one that is in error, and logged. One thread at a time.
class DevicePublisher {
  public:
    /// Sends an event; false when it was not sent.
    using Notify = std::function<bool(const tarn::proto::monitoring::DeviceToTarnServiceEvent*)>;

    explicit DevicePublisher(Notify notify);

    /// The device is now as `node` says, or absent when that is null.
    void updateDeviceTree(const std::shared_ptr<device_tree::DeviceNode>& node);

    /// The tree was told of the device by others, too: the next update tells all of it, whatever
    /// was told through here.
    void tellAllNext() { extent = Extent::Whole; }

    /// Tries again what could not be sent; else does nothing.
    void sendWhatIsLeft();

  private:
    using Extent = device_tree::utils::EventHelper::Extent;

    bool publish(const std::shared_ptr<device_tree::DeviceNode>& node);

    const Notify notify;
    std::shared_ptr<device_tree::DeviceNode> last;    ///< as the tree holds it
    std::shared_ptr<device_tree::DeviceNode> wanted;  ///< as the tree should hold it
    Extent extent = Extent::Difference;               ///< of the next event
};

}  // namespace tarn::service::devices
