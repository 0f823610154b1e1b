#include "platform/device_tree/messages/Messages.h"

#include "platform/device_tree/persistent/SortedByName.h"
#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

namespace monitoring = tarn::proto::monitoring;

namespace {

constexpr int maxLevels = 100;

template <typename T, typename Messages>
std::vector<T> listOf(const Messages& messages) {
    std::vector<T> result;
    result.reserve(static_cast<std::size_t>(messages.size()));
    for (const auto& message : messages) {
        result.emplace_back(message);
    }
    sortKeepingLast(result, [](const T& a, const T& b) { return nameOf(a) < nameOf(b); });
    return result;
}

CopyOnWrite<Content> contentOf(const monitoring::DeviceNode& message, int levels);

std::vector<CopyOnWrite<Content>> childrenOf(const monitoring::DeviceNode& message, int levels) {
    std::vector<CopyOnWrite<Content>> result;
    if (levels == 0) {
        return result;
    }
    result.reserve(static_cast<std::size_t>(message.sub_devices_size()));
    for (const auto& child : message.sub_devices()) {
        result.push_back(contentOf(child, levels));
    }
    sortKeepingLast(result, [](const auto& a, const auto& b) { return ById::compare(a, b) < 0; });
    return result;
}

CopyOnWrite<Content> contentOf(const monitoring::DeviceNode& message, int levels) {
    auto result =
        makeContent(message.id(), message.name(), static_cast<DeviceClass>(message.device_class()));
    Content& content = result.writable();
    content.description.writable().properties = listOf<Property>(message.properties());
    NodeState& state = content.state.writable();
    state.global = GlobalStatus(message.global_status());
    state.statuses = listOf<NamedStatus>(message.statuses());
    auto children = childrenOf(message, levels - 1);
    for (const auto& child : children) {
        content.size += child->size;
    }
    content.children = decltype(content.children)::ofSorted(std::move(children));
    return result;
}

}  // namespace

CopyOnWrite<Content> contentOf(const monitoring::DeviceNode& message) {
    return contentOf(message, maxLevels);
}

void fillWithoutChildren(monitoring::DeviceNode& message, const Content& content) {
    const Description& description = *content.description;
    message.set_id(description.id);
    message.set_name(description.name);
    message.set_device_class(
        static_cast<monitoring::DeviceNode::DeviceClass>(description.deviceClass));
    fill(*message.mutable_global_status(), content.state->global);
    for (const auto& property : description.properties) {
        fill(*message.add_properties(), property);
    }
    for (const auto& status : content.state->statuses) {
        fill(*message.add_statuses(), status);
    }
}

void fill(monitoring::DeviceNode& message, const Content& content) {
    fillWithoutChildren(message, content);
    message.mutable_sub_devices()->Reserve(static_cast<int>(content.children.size()));
    content.children.forEach(
        [&message](const auto& child) { fill(*message.add_sub_devices(), *child); });
}

}  // namespace tarn::device_tree
