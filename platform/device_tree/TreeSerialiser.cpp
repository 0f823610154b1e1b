#include "platform/device_tree/TreeSerialiser.h"

#include <optional>
#include <utility>
#include <vector>

#include "platform/device_tree/ReverseWriter.h"
#include "platform/device_tree/messages/Messages.h"
#include "platform/device_tree/messages/SubDeviceFields.h"
#include "platform/device_tree/persistent/Tree.h"
#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

namespace {

using Node = CopyOnWrite<Content>;
using Message = tarn::proto::monitoring::DeviceNode;

/// A node of the tree before. The bytes are views into those of the whole tree.
struct Known {
    const Node* node;
    SubDeviceField bytes;
};

std::vector<const Node*> childrenOf(const Content& content) {
    std::vector<const Node*> children;
    children.reserve(content.children.size());
    content.children.forEach([&children](const Node& child) { children.push_back(&child); });
    return children;
}

std::vector<Known> knownChildrenOf(const Content& content, std::string_view bytes) {
    std::vector<Known> children;
    children.reserve(content.children.size());
    SubDeviceFields fields(bytes);
    content.children.forEach([&](const Node& child) {
        children.push_back({&child, fields.next()});
    });
    return children;
}

/// Gives what was known of nodes that are asked for from the last to the first.
class KnownFromBehind {
  public:
    explicit KnownFromBehind(std::vector<Known> inOrder) : left(std::move(inOrder)) {}

    std::optional<Known> take(const Node& node) {
        while (!left.empty()) {
            const Known last = left.back();
            const int order = last.node->sharesWith(node) ? 0 : ById::compare(node, *last.node);
            if (order > 0) {
                break;
            }
            left.pop_back();
            if (order == 0) {
                return last;
            }
        }
        return std::nullopt;
    }

  private:
    std::vector<Known> left;
};

}  // namespace

struct TreeSerialiser::Implementation {
    Node last;  // null at first
    ReverseWriter bytesOfLast;
    ReverseWriter bytes;
    Message own;  // one for all nodes: filling it again costs a fraction

    void write(const Content& node, std::vector<Known> before);
    void writeChild(const Node& child, const std::optional<Known>& before);
    void writeOwn(const Content& node);
};

TreeSerialiser::TreeSerialiser() : impl(std::make_unique<Implementation>()) {}

TreeSerialiser::~TreeSerialiser() = default;

std::string_view TreeSerialiser::serialise(const DeviceNode& tree) {
    const Node& node = tree.tree->node();
    if (!impl->last || !impl->last.sharesWith(node)) {
        impl->bytes.clear();
        impl->write(*node, impl->last ? knownChildrenOf(*impl->last, impl->bytesOfLast.view())
                                      : std::vector<Known>());
        std::swap(impl->bytes, impl->bytesOfLast);
        impl->last = node;
    }
    return impl->bytesOfLast.view();
}

void TreeSerialiser::Implementation::write(const Content& node, std::vector<Known> before) {
    KnownFromBehind known(std::move(before));
    const auto children = childrenOf(node);
    for (auto child = children.rbegin(); child != children.rend(); ++child) {
        writeChild(**child, known.take(**child));
    }
    writeOwn(node);
}

void TreeSerialiser::Implementation::writeChild(const Node& child,
                                                const std::optional<Known>& before) {
    if (before && before->node->sharesWith(child)) {
        bytes.prepend(before->bytes.field);
        return;
    }
    const auto behind = bytes.size();
    write(*child,
          before ? knownChildrenOf(**before->node, before->bytes.content) : std::vector<Known>());
    bytes.prependFieldHead(Message::kSubDevicesFieldNumber, bytes.size() - behind);
}

// Sub-devices are the last field.
void TreeSerialiser::Implementation::writeOwn(const Content& node) {
    own.Clear();
    fillWithoutChildren(own, node);
    auto* const room = bytes.prependRoom(own.ByteSizeLong());
    own.SerializeWithCachedSizesToArray(room);
}

}  // namespace tarn::device_tree
