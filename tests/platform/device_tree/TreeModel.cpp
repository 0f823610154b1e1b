#include "tests/platform/device_tree/TreeModel.h"

#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

namespace monitoring = tarn::proto::monitoring;

std::size_t TreeModel::size() const {
    std::size_t result = 1;
    for (const auto& [key, child] : children) {
        result += child.size();
    }
    return result;
}

TreeModel* TreeModel::find(const std::string& wanted) {
    if (id == wanted) {
        return this;
    }
    for (auto& [key, child] : children) {
        if (TreeModel* found = child.find(wanted)) {
            return found;
        }
    }
    return nullptr;
}

bool TreeModel::removeBelow(const std::string& wanted) {
    for (auto& [key, child] : children) {
        if (key == wanted) {
            children.erase(wanted);
            return true;
        }
        if (child.removeBelow(wanted)) {
            return true;
        }
    }
    return false;
}

TreeModel& TreeModel::at(std::size_t number) {
    if (number == 0) {
        return *this;
    }
    --number;
    auto child = children.begin();
    while (number >= child->second.size()) {
        number -= child->second.size();
        ++child;
    }
    return child->second.at(number);
}

monitoring::DeviceNode TreeModel::toProtoBuf() const {
    monitoring::DeviceNode message;
    message.set_id(id);
    message.set_name(name);
    message.set_device_class(static_cast<monitoring::DeviceNode::DeviceClass>(deviceClass));
    *message.mutable_global_status() = global.toProtoBuf();
    for (const auto& [key, value] : properties) {
        *message.add_properties() = Property(key, Property::Type::Text, value).toProtoBuf();
    }
    for (const auto& [key, value] : statuses) {
        *message.add_statuses() = NamedStatus(key, value).toProtoBuf();
    }
    for (const auto& [key, child] : children) {
        *message.add_sub_devices() = child.toProtoBuf();
    }
    return message;
}

DeviceNode TreeModel::toDeviceNode() const {
    DeviceNode node(id, name, deviceClass);
    node.setGlobalStatus(global);
    for (const auto& [key, value] : properties) {
        node.addProperty(Property(key, Property::Type::Text, value));
    }
    for (const auto& [key, value] : statuses) {
        node.addStatus(NamedStatus(key, value));
    }
    std::string error;
    for (const auto& [key, child] : children) {
        node.addSubDevice(std::make_shared<DeviceNode>(child.toDeviceNode()), false, error);
    }
    return node;
}

std::string contentOf(const TreeModel& model) {
    return model.toProtoBuf().SerializeAsString();
}

std::string contentOf(const DeviceNode& node) {
    return node.toProtoBuf().SerializeAsString();
}

std::size_t RandomModels::below(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
}

std::string RandomModels::id() {
    return "id" + std::to_string(below(60));
}

GlobalStatus RandomModels::global() {
    return {static_cast<GlobalStatus::Level>(below(4)), std::to_string(below(3))};
}

NamedStatus RandomModels::status() {
    const std::string name(1, static_cast<char>('a' + below(3)));
    switch (below(4)) {
        case 0:
            return {name, std::to_string(below(5))};
        case 1:
            return {name, static_cast<std::int64_t>(below(5))};
        case 2:
            return {name, static_cast<std::uint64_t>(below(5))};
        default:
            return {name, static_cast<double>(below(5))};
    }
}

TreeModel RandomModels::tree(std::size_t levels) {
    TreeModel result;
    result.id = id();
    result.name = std::to_string(below(3));
    result.deviceClass = static_cast<DeviceClass>(below(5));
    result.global = global();
    result.properties["p"] = std::to_string(below(3));
    for (std::size_t n = below(4); n > 0; --n) {
        const NamedStatus added = status();
        result.statuses.insert_or_assign(added.getName(), added.getValue());
    }
    for (std::size_t n = levels == 0 ? 0 : below(5); n > 0; --n) {
        TreeModel child = tree(levels - 1);
        result.children[child.id] = child;
    }
    return result;
}

void RandomModels::change(DeviceNode& root) {
    std::string error;
    switch (below(5)) {
        case 0:
            root.removeSubDevice(id(), below(2) == 0, error);
            break;
        case 1:
            root.addSubDevice(std::make_shared<DeviceNode>(tree(below(4)).toDeviceNode()),
                              /*replace=*/true, error);
            break;
        case 2:
            root.updateGlobalStatus(id(), global());
            break;
        default:
            root.updateStatusValue(id(), status());
    }
}

}  // namespace tarn::device_tree
