#include "service/devices/DevicePublisher.h"

#include <utility>

#include "platform/device_tree/DeviceNode.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"
#include "proto/monitoring.pb.h"

namespace tarn::service::devices {

DevicePublisher::DevicePublisher(Notify notify) : notify(std::move(notify)) {}

void DevicePublisher::updateDeviceTree(const std::shared_ptr<device_tree::DeviceNode>& node) {
    wanted = node;
    // Under another id it is another device: a change event would leave the old one in the tree.
    const bool isAnother = last && node && last->getId() != node->getId();
    if (!isAnother || publish(nullptr)) {
        publish(node);
    }
}

void DevicePublisher::sendWhatIsLeft() {
    if (last != wanted) {
        updateDeviceTree(wanted);
    }
}

bool DevicePublisher::publish(const std::shared_ptr<device_tree::DeviceNode>& node) {
    using device_tree::utils::EventHelper;
    tarn::proto::monitoring::DeviceToTarnServiceEvent event;
    auto told = node;
    const bool differs = EventHelper::ComputeEventWithinLimits(last, told, extent, event);
    if (differs && !notify(&event)) {
        return false;
    }
    if (differs && told != node) {
        utils::logError("DevicePublisher > Device " + utils::printable(told->getId()) + ": " +
                        told->getGlobalStatus().description);
    }
    last = told;
    if (wanted == node) {
        wanted = told;
    }
    extent = Extent::Difference;
    return true;
}

}  // namespace tarn::service::devices
