#include "platform/tree_updates/nodes/NodeBytes.h"

#include "proto/monitoring.pb.h"

namespace tarn::tree_updates {

using proto::monitoring::DeviceNode;
using tarn::utils::MessageFields;

std::optional<NodeBytes> partsOf(std::string_view node) {
    MessageFields fields(node);
    if (!fields.next() || !fields.isBytes(DeviceNode::kIdFieldNumber)) {
        return std::nullopt;
    }
    auto own = fields.whole().size();
    while (fields.next() && !fields.isBytes(DeviceNode::kSubDevicesFieldNumber)) {
        if (fields.number() == DeviceNode::kIdFieldNumber) {
            return std::nullopt;
        }
        own += fields.whole().size();
    }
    return NodeBytes{.own = node.substr(0, own), .subDevices = node.substr(own)};
}

SubDevices::SubDevices(std::string_view bytes) : fields(bytes), state(read(/*isFirst=*/true)) {}

void SubDevices::next() {
    state = read(/*isFirst=*/false);
}

SubDevices::State SubDevices::read(bool isFirst) {
    if (!fields.next()) {
        return fields.isAtEnd() ? State::AtTheEnd : State::Disorderly;
    }
    if (!fields.isBytes(DeviceNode::kSubDevicesFieldNumber)) {
        return State::Disorderly;
    }
    MessageFields content(fields.bytes());
    if (!content.next() || !content.isBytes(DeviceNode::kIdFieldNumber) ||
        (!isFirst && content.bytes() <= idOfThis)) {
        return State::Disorderly;
    }
    idOfThis = content.bytes();
    return State::There;
}

}  // namespace tarn::tree_updates
