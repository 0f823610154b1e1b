#include "platform/device_tree/EventHelper.h"

#include "platform/device_tree/DeviceLimits.h"
#include "platform/device_tree/DeviceNode.h"
#include "platform/device_tree/DeviceOutline.h"
#include "platform/device_tree/messages/TreeDifference.h"
#include "proto/monitoring.pb.h"

namespace tarn::device_tree::utils {

namespace monitoring = tarn::proto::monitoring;
using Event = monitoring::DeviceToTarnServiceEvent;

namespace {

/// Empties the event; gives the message that belongs to the type.
template <typename Message>
Message& start(Event& event, Event::Type type) {
    event.Clear();
    event.set_type(type);
    return *event.MutableExtension(Message::base);
}

bool fillAdd(const DeviceNode& node, Event& event) {
    auto& message = start<monitoring::DeviceAddEvent>(event, Event::DEVICE_ADD);
    node.toProtoBuf(*message.mutable_device());
    return true;
}

bool fillRemove(const DeviceNode& node, Event& event) {
    auto& message = start<monitoring::DeviceRemoveEvent>(event, Event::DEVICE_REMOVE);
    message.set_device_id(node.getId());
    return true;
}

bool fillConfigurationChange(const DeviceNode& node, Event& event) {
    auto& message = start<monitoring::ConfigurationChangeEvent>(event, Event::CONFIGURATION_CHANGE);
    node.toProtoBuf(*message.mutable_device());
    return true;
}

bool fillStatusChange(const TreeDifference& difference, Event& event) {
    auto& message = start<monitoring::StatusChangeEvent>(event, Event::STATUS_CHANGE);
    for (const auto& change : difference.globalStatuses()) {
        auto& item = *message.add_global_status_changes();
        item.set_device_id(*change.id);
        *item.mutable_status() = change.status->toProtoBuf();
    }
    for (const auto& change : difference.namedStatuses()) {
        auto& item = *message.add_named_status_changes();
        item.set_device_id(*change.id);
        *item.mutable_status() = change.status->toProtoBuf();
    }
    return true;
}

bool fillDifference(const DeviceNode& before, const DeviceNode& after, Event& event) {
    const TreeDifference difference(before, after);
    switch (difference.kind()) {
        case TreeDifference::Kind::StatusValues:
            return fillStatusChange(difference, event);
        case TreeDifference::Kind::Other:
            return fillConfigurationChange(after, event);
        case TreeDifference::Kind::None:
            break;
    }
    return false;
}

bool compute(const std::shared_ptr<DeviceNode>& before, const std::shared_ptr<DeviceNode>& after,
             EventHelper::Extent extent, Event& event) {
    const bool isWhole = extent == EventHelper::Extent::Whole && before && after;
    return isWhole ? fillConfigurationChange(*after, event)
                   : EventHelper::ComputeEvent(before, after, event);
}

// Where many statuses change, the whole device is less.
std::string refusalOfSmallest(const std::shared_ptr<DeviceNode>& after, Event& event) {
    const auto refusal = refusalOf(event);
    if (refusal.empty() || event.type() != Event::STATUS_CHANGE) {
        return refusal;
    }
    fillConfigurationChange(*after, event);
    return refusalOf(event);
}

}  // namespace

bool EventHelper::ComputeEventWithinLimits(const std::shared_ptr<DeviceNode>& before,
                                           std::shared_ptr<DeviceNode>& after, Extent extent,
                                           Event& event) {
    if (!compute(before, after, extent, event)) {
        return false;
    }
    const auto refusal = refusalOfSmallest(after, event);
    if (refusal.empty() || !after) {
        return true;
    }
    event.Clear();
    after = std::make_shared<DeviceNode>(refusedDevice(outlineOf(*after), refusal));
    return compute(before, after, extent, event);
}

bool EventHelper::ComputeEvent(const std::shared_ptr<DeviceNode>& before,
                               const std::shared_ptr<DeviceNode>& after, Event& event) {
    if (before && after) {
        return fillDifference(*before, *after, event);
    }
    if (after) {
        return fillAdd(*after, event);
    }
    return before && fillRemove(*before, event);
}

}  // namespace tarn::device_tree::utils
