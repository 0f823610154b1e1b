#pragma once

#include <memory>

#include "proto/monitoring.fwd.h"

namespace tarn::device_tree {
class DeviceNode;
}

namespace tarn::device_tree::utils {

class EventHelper {
  public:
    /// Fills `event` with what leads from `before` to `after`; a null node is an absent device.
    ///
    ///     nothing -> node         DEVICE_ADD
    ///     node    -> nothing      DEVICE_REMOVE
    ///     status values differ    STATUS_CHANGE, with just those
    ///     anything else differs   CONFIGURATION_CHANGE
    ///
    /// Statuses are told in walking order; NaN equals NaN. Of a node whose id is also that of one
    /// before it, a change of statuses counts as a change of configuration: its id would lead to
    /// the other one.
    ///
    /// False, and `event` untouched, when nothing differs. Parts that both trees share are not
    /// compared. Any thread.
    static bool ComputeEvent(const std::shared_ptr<DeviceNode>& before,
                             const std::shared_ptr<DeviceNode>& after,
                             tarn::proto::monitoring::DeviceToTarnServiceEvent& event);

    enum class Extent {
        Difference,
        Whole,  ///< all of a device that is there, whatever it was before
    };

    /// The same within the limits of devices (DeviceLimits.h): a device that no event within them
    /// could tell is replaced, in `after`, by one that says so. True when the event is to be sent.
    static bool ComputeEventWithinLimits(const std::shared_ptr<DeviceNode>& before,
                                         std::shared_ptr<DeviceNode>& after, Extent extent,
                                         tarn::proto::monitoring::DeviceToTarnServiceEvent& event);
};

}  // namespace tarn::device_tree::utils
