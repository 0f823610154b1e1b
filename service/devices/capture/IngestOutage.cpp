#include "service/devices/capture/IngestOutage.h"

#include <memory>
#include <utility>

#include "platform/device_tree/DeviceNode.h"

namespace tarn::service::devices {

using device_tree::DeviceNode;
using device_tree::GlobalStatus;

// A channel of a service that is not there captures nothing either.
DeviceNode shownInError(DeviceNode described, const std::string& reason) {
    described.setGlobalStatus(GlobalStatus(GlobalStatus::Level::Error, reason));
    for (auto& part : described.getSubDevices()) {
        std::string none;
        described.addSubDevice(std::make_shared<DeviceNode>(shownInError(std::move(part), reason)),
                               /*replace=*/true, none);
    }
    return described;
}

}  // namespace tarn::service::devices
