#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/device_tree/persistent/Content.h"

namespace tarn::device_tree {

struct Place;
/// Null is the root's place.
using PlacePointer = boost::intrusive_ptr<const Place>;

/// Where a node hangs, as the ids on the way from the root to it. Unlike the node itself it stays
/// the same when statuses change.
struct Place : Counted<Place> {
    Place(PlacePointer above, CopyOnWrite<Description> node)
        : depth(above ? above->depth + 1 : 1),
          parent(std::move(above)),
          description(std::move(node)) {}

    const std::string& id() const { return description->id; }

    std::uint32_t depth;
    PlacePointer parent;
    CopyOnWrite<Description> description;  // shared for its id
};

/// The root's is 0.
inline std::uint32_t depthOf(const Place* place) {
    return place ? place->depth : 0;
}

/// Below, at or above 0, as a walk of the tree comes to `a` before, at or after `b`.
int compareInWalkingOrder(const Place* a, const Place* b);

/// A place is not below itself. Everything is below null.
bool isBelow(const Place& place, const Place* above);

}  // namespace tarn::device_tree
