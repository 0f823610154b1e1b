#include "service/devices/DevicePublisher.h"

#include <utility>

#include "platform/device_tree/DeviceNode.h"
#include "platform/device_tree/EventHelper.h"
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
    tarn::proto::monitoring::DeviceToTarnServiceEvent event;
    if (device_tree::utils::EventHelper::ComputeEvent(last, node, event) && !notify(&event)) {
        return false;
    }
    last = node;
    return true;
}

}  // namespace tarn::service::devices
