#include "service/devices/DevicePresence.h"

#include "proto/monitoring.pb.h"

namespace tarn::service::devices {

using tarn::proto::monitoring::DeviceRemoveEvent;
using tarn::proto::monitoring::DeviceToTarnServiceEvent;

void DevicePresence::connected(const std::string& id) {
    ids.lock()->insert(id);
}

void DevicePresence::lost(const std::string& id) {
    auto known = ids.lock();
    const auto found = known->find(id);
    if (found != known->end()) {
        known->erase(found);
    }
}

bool DevicePresence::removeGhost(const std::string& id, const Notify& notify) {
    auto known = ids.lock();
    if (known->contains(id) || !isInTree(id)) {
        return false;
    }
    DeviceToTarnServiceEvent event;
    event.set_type(DeviceToTarnServiceEvent::DEVICE_REMOVE);
    event.MutableExtension(DeviceRemoveEvent::base)->set_device_id(id);
    return notify(&event);
}

}  // namespace tarn::service::devices
