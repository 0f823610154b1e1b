#include "platform/device_tree/persistent/DeviceIndex.h"

#include <algorithm>
#include <functional>

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

std::size_t hashOf(std::string_view id) {
    return std::hash<std::string_view>()(id);
}

int compareIds(std::size_t hashA, std::string_view a, std::size_t hashB, std::string_view b) {
    if (hashA != hashB) {
        return hashA < hashB ? -1 : 1;
    }
    return a.compare(b);
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

int DeviceIndex::Order::compare(const Entry& a, const Entry& b) {
    const int order = compareIds(a.hash, a.place->id(), b.hash, b.place->id());
    return order != 0 ? order : compareInWalkingOrder(a.place.get(), b.place.get());
}

int DeviceIndex::Order::compare(const After& a, const Entry& b) {
    const int order = compareIds(a.hash, a.id, b.hash, b.place->id());
    if (order != 0) {
        return order;
    }
    return compareInWalkingOrder(a.place, b.place.get()) < 0 ? -1 : 1;
}

DeviceIndex::DeviceIndex(const Content& root) {
    std::vector<Entry> collected;
    collected.reserve(root.size - 1);
    collectBelow(root, nullptr, collected);
    entries = sorted(std::move(collected));
}

NodePathPointer DeviceIndex::first(std::string_view id, const NodePathPointer& below) const {
    const Entry* found = entries.firstNotBefore(After{hashOf(id), id, below.get()});
    return found && found->place->id() == id && isBelow(*found->place, below.get()) ? found->place
                                                                                    : nullptr;
}

// Of many nodes the entries are sorted and united at once, which costs less than one after the
// other.
void DeviceIndex::add(const Content& node, const NodePathPointer& parent) {
    if (node.size == 1) {
        entries.insert(entryOf(node, parent));
    } else {
        entries.unite(entriesOf(node, parent));
    }
}

void DeviceIndex::remove(const Content& node, const NodePathPointer& parent) {
    if (node.size == 1) {
        entries.erase(entryOf(node, parent));
    } else {
        entries.subtract(entriesOf(node, parent));
    }
}

DeviceIndex::Entry DeviceIndex::entryOf(const Content& node, const NodePathPointer& parent) {
    return {hashOf(node.description->id), NodePathPointer(new NodePath(parent, node.description))};
}

void DeviceIndex::collectBelow(const Content& node, const NodePathPointer& at,
                               std::vector<Entry>& into) {
    node.children.forEach([&](const CopyOnWrite<Content>& child) {
        into.push_back(entryOf(*child, at));
        const NodePathPointer place = into.back().place;
        collectBelow(*child, place, into);
    });
}

DeviceIndex::Entries DeviceIndex::sorted(std::vector<Entry> collected) {
    std::sort(collected.begin(), collected.end(),
              [](const Entry& a, const Entry& b) { return Order::compare(a, b) < 0; });
    return Entries::ofSorted(std::move(collected));
}

DeviceIndex::Entries DeviceIndex::entriesOf(const Content& node, const NodePathPointer& parent) {
    std::vector<Entry> collected;
    collected.reserve(node.size);
    collected.push_back(entryOf(node, parent));
    const NodePathPointer place = collected.front().place;
    collectBelow(node, place, collected);
    return sorted(std::move(collected));
}

}  // namespace tarn::device_tree
