#include "platform/tree_updates/TreeDiffer.h"

#include "platform/tree_updates/nodes/NodeBytes.h"
#include "proto/service_event.pb.h"

namespace tarn::tree_updates {

using proto::monitoring::DeviceNode;
using proto::service_event::TreeDifference;

namespace {

// Of the nodes on a way from the root. Readers read 100 levels of messages, and a node is one level
// deeper in a difference than it is in its tree.
constexpr int mostLevels = 90;

bool isOrderly(std::string_view node, int levels) {
    const auto parts = partsOf(node);
    if (!parts || levels == 0) {
        return false;
    }
    SubDevices below(parts->subDevices);
    while (below.has() && isOrderly(below.message(), levels - 1)) {
        below.next();
    }
    return below.areOrderly();
}

bool parse(std::string_view bytes, DeviceNode& node) {
    return node.ParsePartialFromArray(bytes.data(), static_cast<int>(bytes.size()));
}

bool add(std::string_view node, TreeDifference& difference, int levels) {
    return isOrderly(node, levels) && parse(node, *difference.add_added());
}

bool compare(std::string_view before, std::string_view after, TreeDifference& difference,
             int levels);

bool compareOfOneId(const SubDevices& before, const SubDevices& after, TreeDifference& difference,
                    int levels) {
    if (before.message() == after.message()) {
        return true;
    }
    auto& changed = *difference.add_changed();
    changed.set_id(std::string(after.id()));
    return compare(before.message(), after.message(), changed, levels);
}

// Below 0 where the one before has no counterpart, above 0 where the one after has none.
int orderOf(const SubDevices& before, const SubDevices& after) {
    if (before.has() && after.has()) {
        return before.id().compare(after.id());
    }
    return before.has() ? -1 : 1;
}

bool compareSubDevices(SubDevices before, SubDevices after, TreeDifference& difference,
                       int levels) {
    while (before.has() || after.has()) {
        const int order = orderOf(before, after);
        if (order < 0) {
            difference.add_removed(std::string(before.id()));
        } else if (!(order > 0 ? add(after.message(), difference, levels)
                               : compareOfOneId(before, after, difference, levels))) {
            return false;
        }
        if (order <= 0) {
            before.next();
        }
        if (order >= 0) {
            after.next();
        }
    }
    return before.areOrderly() && after.areOrderly();
}

// Both have the same id, but for the root.
bool compare(std::string_view before, std::string_view after, TreeDifference& difference,
             int levels) {
    const auto partsBefore = partsOf(before);
    const auto partsAfter = partsOf(after);
    if (!partsBefore || !partsAfter || levels == 0 ||
        (partsBefore->own != partsAfter->own &&
         !parse(partsAfter->own, *difference.mutable_node()))) {
        return false;
    }
    return partsBefore->subDevices == partsAfter->subDevices ||
           compareSubDevices(SubDevices(partsBefore->subDevices),
                             SubDevices(partsAfter->subDevices), difference, levels - 1);
}

}  // namespace

bool isOrderly(std::string_view tree) {
    return isOrderly(tree, mostLevels);
}

std::optional<std::string> differenceBetween(std::string_view before, std::string_view after) {
    TreeDifference difference;
    if (!compare(before, after, difference, mostLevels)) {
        return std::nullopt;
    }
    auto bytes = difference.SerializeAsString();
    return bytes.size() <= after.size() ? std::optional(std::move(bytes)) : std::nullopt;
}

}  // namespace tarn::tree_updates
