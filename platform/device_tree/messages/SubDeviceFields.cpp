#include "platform/device_tree/messages/SubDeviceFields.h"

#include <stdexcept>

#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

SubDeviceField SubDeviceFields::next() {
    while (fields.next()) {
        if (fields.isBytes(tarn::proto::monitoring::DeviceNode::kSubDevicesFieldNumber)) {
            return {fields.whole(), fields.bytes()};
        }
    }
    throw std::logic_error("bytes that are no node");
}

}  // namespace tarn::device_tree
