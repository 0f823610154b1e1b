#include "tests/service/devices/support/DeviceMessages.h"

#include <google/protobuf/unknown_field_set.h>

namespace tarn::test {

using device_tree::DeviceNode;
using proto::monitoring::ConfigurationChangeEvent;
using proto::monitoring::DeviceAddEvent;
using proto::monitoring::DeviceRemoveEvent;
using proto::monitoring::ShutdownEvent;
using proto::monitoring::StatusChangeEvent;

DeviceNode camera(const std::string& id, std::uint64_t frames) {
    DeviceNode node(id, "camera " + id, device_tree::DeviceClass::Capture);
    node.addStatus(device_tree::NamedStatus("frames", frames));
    return node;
}

DeviceNode deepCamera(const std::string& id, unsigned levels) {
    auto device = std::make_shared<DeviceNode>(camera(id + "." + std::to_string(levels)));
    for (unsigned level = levels - 1; level > 0; --level) {
        const auto name = level == 1 ? id : id + "." + std::to_string(level);
        auto outer = std::make_shared<DeviceNode>(camera(name));
        std::string error;
        outer->addSubDevice(device, /*replace=*/false, error);
        device = outer;
    }
    return *device;
}

DeviceNode largeCamera(const std::string& id, std::size_t bytes) {
    auto device = camera(id);
    device.addProperty({"padding", device_tree::Property::Type::Text, std::string(bytes, 'x')});
    return device;
}

DeviceNode refusedCamera(const std::string& id, const std::string& reason) {
    DeviceNode device(id, "camera " + id, device_tree::DeviceClass::Capture);
    device.setGlobalStatus({device_tree::GlobalStatus::Level::Error, "Refused: " + reason});
    return device;
}

Event addEvent(const DeviceNode& node) {
    Event event;
    event.set_type(Event::DEVICE_ADD);
    *event.MutableExtension(DeviceAddEvent::base)->mutable_device() = node.toProtoBuf();
    return event;
}

Event changeEvent(const DeviceNode& node) {
    Event event;
    event.set_type(Event::CONFIGURATION_CHANGE);
    *event.MutableExtension(ConfigurationChangeEvent::base)->mutable_device() = node.toProtoBuf();
    return event;
}

Event removeEvent(const std::string& id) {
    Event event;
    event.set_type(Event::DEVICE_REMOVE);
    event.MutableExtension(DeviceRemoveEvent::base)->set_device_id(id);
    return event;
}

Event shutdownEvent(const std::string& id) {
    Event event;
    event.set_type(Event::SHUTDOWN);
    event.MutableExtension(ShutdownEvent::base)->set_device_id(id);
    return event;
}

Event framesEvent(const std::string& id, std::uint64_t frames) {
    Event event;
    event.set_type(Event::STATUS_CHANGE);
    auto& change = *event.MutableExtension(StatusChangeEvent::base)->add_named_status_changes();
    change.set_device_id(id);
    *change.mutable_status() = device_tree::NamedStatus("frames", frames).toProtoBuf();
    return event;
}

// A value that the enum does not have travels as an unknown field.
Event eventOfType(int type) {
    Event event;
    event.GetReflection()->MutableUnknownFields(&event)->AddVarint(
        Event::kTypeFieldNumber, static_cast<std::uint64_t>(type));
    return event;
}

}  // namespace tarn::test
