#include "platform/device_tree/persistent/NodePath.h"

#include <algorithm>

namespace tarn::device_tree {

namespace {

const NodePath* ancestorAt(std::uint32_t depth, const NodePath* place) {
    while (depthOf(place) > depth) {
        place = place->parent.get();
    }
    return place;
}

/// Of two places of the same depth; what differs nearest to the root decides.
int compareSameDepth(const NodePath* a, const NodePath* b) {
    int result = 0;
    while (a != b) {
        const int order = a->id().compare(b->id());
        result = order == 0 ? result : order;
        a = a->parent.get();
        b = b->parent.get();
    }
    return result;
}

}  // namespace

int compareInWalkingOrder(const NodePath* a, const NodePath* b) {
    const std::uint32_t depthOfA = depthOf(a);
    const std::uint32_t depthOfB = depthOf(b);
    const std::uint32_t common = std::min(depthOfA, depthOfB);
    const int order = compareSameDepth(ancestorAt(common, a), ancestorAt(common, b));
    return order != 0 ? order : static_cast<int>(depthOfA) - static_cast<int>(depthOfB);
}

bool isBelow(const NodePath& place, const NodePath* above) {
    const std::uint32_t depth = depthOf(above);
    return place.depth > depth && compareSameDepth(ancestorAt(depth, &place), above) == 0;
}

}  // namespace tarn::device_tree
