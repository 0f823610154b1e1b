#pragma once

#include <optional>
#include <string_view>

#include "platform/device_tree/persistent/Content.h"
#include "platform/device_tree/persistent/DeviceIndex.h"

namespace tarn::device_tree {

/// What a DeviceNode is made of: a node, and where to find the nodes below it. A node that was
/// taken from a larger tree goes on using that tree's index, from its own place on.
class Tree : public Counted<Tree> {
  public:
    explicit Tree(CopyOnWrite<Content> node);

    const CopyOnWrite<Content>& node() const { return root; }

    /// For changes that leave id and sub-devices alone.
    Content& writableNode() { return root.writable(); }

    /// The node at a place of this tree.
    const Content& at(const NodePathPointer& place) const;
    Content& writableAt(const NodePathPointer& place);

    struct Found {
        explicit operator bool() const { return content != nullptr; }

        NodePathPointer place;
        const Content* content;  // null when there is no such node; valid until the tree changes
    };

    /// The node itself or the first below.
    Found find(std::string_view id) const;
    std::optional<Tree> subtree(std::string_view id) const;

    /// One of the node's own children.
    std::optional<Tree> child(std::string_view id) const;

    /// In the order of their ids.
    std::vector<Tree> children() const;

    /// As one of the node's own children, in place of the one of the same id: what the two have in
    /// common stays as it is, and costs a comparison only.
    void add(const CopyOnWrite<Content>& child);

    /// One of the node's own children, or the first of that id anywhere below. False when there
    /// is none.
    bool removeChild(std::string_view id);
    bool removeBelow(std::string_view id);

    /// Whether look-ups of the id of the last of these nodes find just that one. The nodes lead
    /// from this tree's own node downwards.
    bool isFound(const std::vector<const Content*>& way) const;

  private:
    Tree(CopyOnWrite<Content> node, DeviceIndex indexOfAll, NodePathPointer placeOfNode);

    bool isRoot(const NodePathPointer& place) const;
    Content& resizedAt(const NodePathPointer& place, std::int64_t growth);
    bool removeChildAt(const NodePathPointer& parent, std::string_view id);
    void reindexBelow(const Content& before, const Content& after, const NodePathPointer& place);

    CopyOnWrite<Content> root;
    DeviceIndex index;
    NodePathPointer base;  // the root's, in the index; null for a tree of its own
};

}  // namespace tarn::device_tree
