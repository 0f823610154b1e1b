#include "platform/device_tree/DeviceNode.h"

#include <string>

#include "platform/device_tree/StatusValue.h"
#include "platform/device_tree/messages/Messages.h"
#include "platform/device_tree/messages/TreeDifference.h"
#include "platform/device_tree/persistent/Content.h"
#include "platform/device_tree/persistent/SortedByName.h"
#include "platform/device_tree/persistent/Tree.h"
#include "platform/utils/Printable.h"
#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

using tarn::utils::printable;

namespace {

using tarn::utils::printable;

const char* nameOf(DeviceClass deviceClass) {
    switch (deviceClass) {
        case DeviceClass::Generic:
            return "generic";
        case DeviceClass::System:
            return "system";
        case DeviceClass::Capture:
            return "capture";
        case DeviceClass::LoopStorage:
            return "loop storage";
        case DeviceClass::Host:
            return "host";
    }
    return "unknown class";
}

const char* nameOf(GlobalStatus::Level level) {
    switch (level) {
        case GlobalStatus::Level::Unknown:
            return "unknown";
        case GlobalStatus::Level::Ok:
            return "ok";
        case GlobalStatus::Level::Warning:
            return "warning";
        case GlobalStatus::Level::Error:
            return "error";
    }
    return "unknown level";
}

std::string quoted(const std::string& text) {
    return '"' + printable(text) + '"';
}

std::string lineOf(const Content& content) {
    const Description& description = *content.description;
    const GlobalStatus& global = content.state->global;
    std::string line = printable(description.id) + ' ' + quoted(description.name) + " (" +
                       nameOf(description.deviceClass) + "): " + nameOf(global.level);
    if (!global.description.empty()) {
        line += ' ' + quoted(global.description);
    }
    for (const auto& property : description.properties) {
        line += ", " + printable(property.name) + ": " + quoted(property.value);
    }
    for (const auto& status : content.state->statuses) {
        const std::string value = textOf(status.getValue());
        const bool isText = status.getType() == NamedStatus::Type::Text;
        line += ", " + printable(status.getName()) + " = " + (isText ? quoted(value) : value);
    }
    return line;
}

// One line a node, each level two blanks further in.
void appendText(std::string& text, const Content& content, unsigned indent) {
    text.append(std::size_t{2} * indent, ' ');
    text += lineOf(content) + '\n';
    content.children.forEach(
        [&](const CopyOnWrite<Content>& child) { appendText(text, *child, indent + 1); });
}

}  // namespace

DeviceNode::DeviceNode(std::string id, std::string name, DeviceClass deviceClass)
    : DeviceNode(Tree(makeContent(std::move(id), std::move(name), deviceClass))) {}

DeviceNode::DeviceNode(const tarn::proto::monitoring::DeviceNode& message)
    : DeviceNode(Tree(contentOf(message))) {}

DeviceNode::DeviceNode(Tree ofNode) : tree(CopyOnWrite<Tree>::make(std::move(ofNode))) {}

DeviceNode::DeviceNode(const DeviceNode&) = default;
DeviceNode::DeviceNode(DeviceNode&&) noexcept = default;
DeviceNode& DeviceNode::operator=(const DeviceNode&) = default;
DeviceNode& DeviceNode::operator=(DeviceNode&&) noexcept = default;
DeviceNode::~DeviceNode() = default;

const std::string& DeviceNode::getId() const {
    return tree->node()->description->id;
}

const std::string& DeviceNode::getName() const {
    return tree->node()->description->name;
}

DeviceClass DeviceNode::getDeviceClass() const {
    return tree->node()->description->deviceClass;
}

const GlobalStatus& DeviceNode::getGlobalStatus() const {
    return tree->node()->state->global;
}

const Property* DeviceNode::getProperty(const std::string& name) const {
    return findByName(tree->node()->description->properties, name);
}

const NamedStatus* DeviceNode::getStatus(const std::string& name) const {
    return findByName(tree->node()->state->statuses, name);
}

std::vector<Property> DeviceNode::getProperties() const {
    return tree->node()->description->properties;
}

std::vector<NamedStatus> DeviceNode::getStatuses() const {
    return tree->node()->state->statuses;
}

std::vector<DeviceNode> DeviceNode::getSubDevices() const {
    std::vector<DeviceNode> result;
    for (Tree& child : tree->children()) {
        result.push_back(DeviceNode(std::move(child)));
    }
    return result;
}

std::shared_ptr<DeviceNode> DeviceNode::getDeviceById(const std::string& id) const {
    auto subtree = tree->subtree(id);
    return subtree ? std::make_shared<DeviceNode>(DeviceNode(std::move(*subtree))) : nullptr;
}

std::shared_ptr<DeviceNode> DeviceNode::getSubDevice(const std::string& id) const {
    auto child = tree->child(id);
    return child ? std::make_shared<DeviceNode>(DeviceNode(std::move(*child))) : nullptr;
}

std::size_t DeviceNode::size() const {
    return tree->node()->size;
}

void DeviceNode::setGlobalStatus(GlobalStatus status) {
    tree.writable().writableNode().state.writable().global = std::move(status);
}

void DeviceNode::addProperty(Property property) {
    putByName(tree.writable().writableNode().description.writable().properties,
              std::move(property));
}

void DeviceNode::addStatus(NamedStatus status) {
    putByName(tree.writable().writableNode().state.writable().statuses, std::move(status));
}

DeviceNode::StatusUpdate DeviceNode::updateGlobalStatus(const std::string& id,
                                                        const GlobalStatus& status) {
    const auto found = tree->find(id);
    if (!found) {
        return StatusUpdate::NodeNotFound;
    }
    if (found.content->state->global != status) {
        GlobalStatus copy = status;  // it may be this tree's own
        tree.writable().writableAt(found.place).state.writable().global = std::move(copy);
    }
    return StatusUpdate::Done;
}

DeviceNode::StatusUpdate DeviceNode::updateStatusValue(const std::string& id,
                                                       const NamedStatus& status) {
    const auto found = tree->find(id);
    if (!found) {
        return StatusUpdate::NodeNotFound;
    }
    const NamedStatus* stored = findByName(found.content->state->statuses, status.getName());
    if (!stored) {
        return StatusUpdate::StatusNotFound;
    }
    NamedStatus updated = *stored;
    updated.setValue(status.getValue());
    if (!isSame(*stored, updated)) {
        putByName(tree.writable().writableAt(found.place).state.writable().statuses,
                  std::move(updated));
    }
    return StatusUpdate::Done;
}

bool DeviceNode::addSubDevice(std::shared_ptr<DeviceNode> node, bool replace, std::string& error) {
    if (!node) {
        error = "No device to add below " + printable(getId());
        return false;
    }
    if (!replace && tree->node()->children.find(node->getId())) {
        error = "Device " + printable(getId()) + " already has a sub-device " +
                printable(node->getId());
        return false;
    }
    const CopyOnWrite<Content> added = node->tree->node();
    tree.writable().add(added);
    return true;
}

bool DeviceNode::removeSubDevice(const std::string& id, bool deep, std::string& error) {
    const bool removed = deep ? tree.writable().removeBelow(id) : tree.writable().removeChild(id);
    if (!removed) {
        error = "Device " + printable(getId()) + " has no sub-device " + printable(id) +
                (deep ? " anywhere below" : "");
    }
    return removed;
}

tarn::proto::monitoring::DeviceNode DeviceNode::toProtoBuf() const {
    tarn::proto::monitoring::DeviceNode message;
    fill(message, *tree->node());
    return message;
}

void DeviceNode::toProtoBuf(tarn::proto::monitoring::DeviceNode& message) const {
    message.Clear();
    fill(message, *tree->node());
}

std::string DeviceNode::debugString(unsigned indent) const {
    std::string result;
    appendText(result, *tree->node(), indent);
    return result;
}

bool operator==(const DeviceNode& a, const DeviceNode& b) {
    return TreeDifference::areEqual(a, b);
}

}  // namespace tarn::device_tree
