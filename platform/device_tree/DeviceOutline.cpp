#include "platform/device_tree/DeviceOutline.h"

#include <algorithm>
#include <cstdint>

#include "platform/device_tree/DeviceLimits.h"
#include "platform/utils/MessageFields.h"
#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

namespace monitoring = tarn::proto::monitoring;
using Fields = tarn::utils::MessageFields;

namespace {

/// Calls `visit` with the content of each field of that number.
template <typename Visit>
void forEach(std::string_view message, int number, Visit visit) {
    for (Fields fields(message); fields.next();) {
        if (fields.isBytes(number)) {
            visit(fields.bytes());
        }
    }
}

void countLevels(std::string_view node, unsigned level, unsigned& levels) {
    levels = std::max(levels, level);
    if (level > mostLevels) {
        return;
    }
    forEach(node, monitoring::DeviceNode::kSubDevicesFieldNumber,
            [&](std::string_view part) { countLevels(part, level + 1, levels); });
}

void addClass(std::uint64_t value, DeviceOutline& outline) {
    // Cut to what an enum holds, as the parser does.
    const auto number = static_cast<int>(static_cast<std::uint32_t>(value));
    if (monitoring::DeviceNode::DeviceClass_IsValid(number)) {
        outline.deviceClass = static_cast<DeviceClass>(number);
    }
}

void addOwnField(const Fields& field, DeviceOutline& outline) {
    if (field.isInteger(monitoring::DeviceNode::kDeviceClassFieldNumber)) {
        addClass(field.integer(), outline);
    } else if (field.isBytes(monitoring::DeviceNode::kIdFieldNumber)) {
        outline.id = field.bytes();
    } else if (field.isBytes(monitoring::DeviceNode::kNameFieldNumber)) {
        outline.name = field.bytes();
    }
}

void addDevice(std::string_view node, DeviceOutline& outline) {
    outline.kind = DeviceOutline::Kind::Whole;
    for (Fields fields(node); fields.next();) {
        addOwnField(fields, outline);
    }
    countLevels(node, 1, outline.levels);
}

// The first is enough: there may be many.
void addStatuses(std::string_view changes, DeviceOutline& outline) {
    for (Fields change(changes); outline.kind == DeviceOutline::Kind::None && change.next();) {
        forEach(change.bytes(), monitoring::NamedStatusChange::kDeviceIdFieldNumber,
                [&](std::string_view id) {
                    outline.kind = DeviceOutline::Kind::Statuses;
                    outline.id = id;
                });
    }
}

}  // namespace

DeviceOutline outlineOfEvent(std::string_view bytes) {
    static_assert(int{monitoring::ConfigurationChangeEvent::kDeviceFieldNumber} ==
                  int{monitoring::DeviceAddEvent::kDeviceFieldNumber});
    static_assert(int{monitoring::GlobalStatusChange::kDeviceIdFieldNumber} ==
                  int{monitoring::NamedStatusChange::kDeviceIdFieldNumber});
    DeviceOutline outline;
    for (Fields fields(bytes); fields.next();) {
        if (!fields.isBytes()) {
            continue;
        }
        switch (fields.number()) {
            case monitoring::ConfigurationChangeEvent::kBaseFieldNumber:
            case monitoring::DeviceAddEvent::kBaseFieldNumber:
                forEach(fields.bytes(), monitoring::DeviceAddEvent::kDeviceFieldNumber,
                        [&](std::string_view device) { addDevice(device, outline); });
                break;
            case monitoring::StatusChangeEvent::kBaseFieldNumber:
                addStatuses(fields.bytes(), outline);
                break;
            default:
                break;
        }
    }
    return outline;
}

DeviceOutline outlineOfReply(std::string_view bytes) {
    DeviceOutline outline;
    forEach(bytes, monitoring::GetDescriptionReply::kBaseFieldNumber, [&](std::string_view reply) {
        forEach(reply, monitoring::GetDescriptionReply::kDeviceFieldNumber,
                [&](std::string_view device) { addDevice(device, outline); });
    });
    return outline;
}

DeviceOutline outlineOf(const DeviceNode& device) {
    return {.kind = DeviceOutline::Kind::Whole,
            .id = device.getId(),
            .name = device.getName(),
            .deviceClass = device.getDeviceClass()};
}

}  // namespace tarn::device_tree
