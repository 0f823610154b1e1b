#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

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

}  // namespace tarn::device_tree
