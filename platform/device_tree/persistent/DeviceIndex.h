#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/device_tree/persistent/Content.h"

namespace tarn::device_tree {

struct NodePath;
/// Null is the root's place.
using NodePathPointer = boost::intrusive_ptr<const NodePath>;

/// Where a node hangs, as the ids on the way from the root to it. Unlike the node itself it stays
/// the same when statuses change.
struct NodePath : Counted<NodePath> {
    NodePath(NodePathPointer above, CopyOnWrite<Description> node)
        : depth(above ? above->depth + 1 : 1),
          parent(std::move(above)),
          description(std::move(node)) {}

    const std::string& id() const { return description->id; }

    std::uint32_t depth;
    NodePathPointer parent;
    CopyOnWrite<Description> description;  // shared for its id
};

/// The root's is 0.
inline std::uint32_t depthOf(const NodePath* place) {
    return place ? place->depth : 0;
}

/// Below, at or above 0, as a walk of the tree comes to `a` before, at or after `b`.
int compareInWalkingOrder(const NodePath* a, const NodePath* b);

/// A place is not below itself. Everything is below null.
bool isBelow(const NodePath& place, const NodePath* above);

/// Where the nodes of a tree hang, by their ids; the root is not in it. A value that shares its
/// structure with its copies.
class DeviceIndex {
  public:
    DeviceIndex() = default;

    /// Of the nodes below `root`.
    explicit DeviceIndex(const Content& root);

    /// The first in walking order of the nodes of that id below a place; null when there is none.
    NodePathPointer first(std::string_view id, const NodePathPointer& below) const;

    /// A node and all below it.
    void add(const Content& node, const NodePathPointer& parent);
    void remove(const Content& node, const NodePathPointer& parent);

  private:
    struct Entry {
        std::size_t hash;  // of the id: sorts quicker than ids do
        NodePathPointer place;
    };

    /// Comes right after the entry of this id at that place.
    struct After {
        std::size_t hash;
        std::string_view id;
        const NodePath* place;
    };

    struct Order {
        static int compare(const Entry& a, const Entry& b);
        static int compare(const After& a, const Entry& b);
    };

    using Entries = PersistentSet<Entry, Order>;

    static Entry entryOf(const Content& node, const NodePathPointer& parent);
    static void collectBelow(const Content& node, const NodePathPointer& at,
                             std::vector<Entry>& into);
    static Entries sorted(std::vector<Entry> collected);
    static Entries entriesOf(const Content& node, const NodePathPointer& parent);

    Entries entries;
};

}  // namespace tarn::device_tree
