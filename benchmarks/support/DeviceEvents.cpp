#include "benchmarks/support/DeviceEvents.h"

#include <algorithm>

#include "platform/device_tree/DeviceNode.h"
#include "proto/monitoring.pb.h"
#include "proto/service_event.pb.h"

namespace tarn::benchmarks {

using tarn::proto::monitoring::ConfigurationChangeEvent;
using tarn::proto::monitoring::DeviceAddEvent;
using tarn::proto::monitoring::DeviceRemoveEvent;
using tarn::proto::monitoring::DeviceToTarnServiceEvent;
using tarn::proto::monitoring::NamedStatus;
using tarn::proto::monitoring::StatusChangeEvent;
using tarn::proto::service_event::ServiceEvent;
using tarn::proto::service_event::ServiceEventBatch;
using tarn::proto::service_event::ServiceEventDeviceAdded;
using tarn::proto::service_event::ServiceEventDeviceChanged;

std::string addEvent(const device_tree::DeviceNode& device) {
    DeviceToTarnServiceEvent event;
    event.set_type(DeviceToTarnServiceEvent::DEVICE_ADD);
    device.toProtoBuf(*event.MutableExtension(DeviceAddEvent::base)->mutable_device());
    return event.SerializeAsString();
}

std::string changeEvent(device_tree::DeviceNode device, int number) {
    device.addProperty(device_tree::Property("Format", device_tree::Property::Type::Text,
                                             std::to_string(1000000 + number)));
    DeviceToTarnServiceEvent event;
    event.set_type(DeviceToTarnServiceEvent::CONFIGURATION_CHANGE);
    device.toProtoBuf(*event.MutableExtension(ConfigurationChangeEvent::base)->mutable_device());
    return event.SerializeAsString();
}

std::string removeEvent(const std::string& id) {
    DeviceToTarnServiceEvent event;
    event.set_type(DeviceToTarnServiceEvent::DEVICE_REMOVE);
    event.MutableExtension(DeviceRemoveEvent::base)->set_device_id(id);
    return event.SerializeAsString();
}

std::string loadEvent(const std::vector<std::string>& ids, double value) {
    DeviceToTarnServiceEvent event;
    event.set_type(DeviceToTarnServiceEvent::STATUS_CHANGE);
    auto& changes = *event.MutableExtension(StatusChangeEvent::base);
    for (const auto& id : ids) {
        auto& change = *changes.add_named_status_changes();
        change.set_device_id(id);
        change.mutable_status()->set_name("Load");
        change.mutable_status()->set_type(NamedStatus::DOUBLE);
        change.mutable_status()->set_double_value(value);
    }
    return event.SerializeAsString();
}

bool announces(const std::string& batch, const std::string& id) {
    ServiceEventBatch message;
    if (!message.ParseFromString(batch)) {
        return false;
    }
    return std::any_of(
        message.events().begin(), message.events().end(), [&id](const ServiceEvent& event) {
            return event.GetExtension(ServiceEventDeviceAdded::base).device_id() == id ||
                   event.GetExtension(ServiceEventDeviceChanged::base).device_id() == id;
        });
}

}  // namespace tarn::benchmarks
