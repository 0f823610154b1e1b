#include "platform/tree_updates/nodes/ChangedNode.h"

#include <algorithm>
#include <string>

#include "proto/service_event.pb.h"

namespace tarn::tree_updates {

using google::protobuf::RepeatedPtrField;
using proto::monitoring::DeviceNode;
using proto::service_event::TreeDifference;

namespace {

using Nodes = RepeatedPtrField<DeviceNode>;

bool isBefore(const DeviceNode* a, const DeviceNode* b) {
    return a->id() < b->id();
}

bool isInOrder(const Nodes& nodes) {
    return std::adjacent_find(nodes.begin(), nodes.end(), [](const auto& a, const auto& b) {
               return a.id() >= b.id();
           }) == nodes.end();
}

DeviceNode* find(Nodes& nodes, const std::string& id) {
    const auto found = std::lower_bound(
        nodes.begin(), nodes.end(), id,
        [](const DeviceNode& node, const std::string& wanted) { return node.id() < wanted; });
    return found != nodes.end() && found->id() == id ? &*found : nullptr;
}

void replaceOwn(DeviceNode& own, DeviceNode& node) {
    own.mutable_sub_devices()->Swap(node.mutable_sub_devices());
    node.Swap(&own);
}

// Those that `goes` names are taken out; the others stay in their order.
template <typename Goes>
void takeOut(Nodes& nodes, const Goes& goes) {
    int kept = 0;
    for (int i = 0; i < nodes.size(); ++i) {
        if (!goes(i)) {
            nodes.SwapElements(kept++, i);
        }
    }
    nodes.DeleteSubrange(kept, nodes.size() - kept);
}

// Both ascend, so one pass is enough. False where one of the ids is not there.
bool remove(const RepeatedPtrField<std::string>& ids, Nodes& nodes) {
    int next = 0;
    if (!ids.empty()) {
        takeOut(nodes, [&](int i) {
            const bool goes = next < ids.size() && nodes.Get(i).id() == ids.Get(next);
            next += goes ? 1 : 0;
            return goes;
        });
    }
    return next == ids.size();
}

bool add(Nodes& added, Nodes& nodes) {
    if (added.empty()) {
        return true;
    }
    if (!isInOrder(added)) {
        return false;
    }
    const auto before = nodes.size();
    for (auto& node : added) {
        putInOrder(node);
        nodes.Add(std::move(node));
    }
    std::inplace_merge(nodes.pointer_begin(), nodes.pointer_begin() + before, nodes.pointer_end(),
                       isBefore);
    return isInOrder(nodes);
}

}  // namespace

bool apply(TreeDifference& difference, DeviceNode& node) {
    if (difference.has_node()) {
        replaceOwn(*difference.mutable_node(), node);
    }
    auto& nodes = *node.mutable_sub_devices();
    return remove(difference.removed(), nodes) && add(*difference.mutable_added(), nodes) &&
           std::all_of(difference.mutable_changed()->begin(), difference.mutable_changed()->end(),
                       [&nodes](TreeDifference& changed) {
                           auto* const found = find(nodes, changed.id());
                           return found != nullptr && apply(changed, *found) &&
                                  found->id() == changed.id();
                       });
}

void putInOrder(DeviceNode& node) {
    auto& nodes = *node.mutable_sub_devices();
    if (!isInOrder(nodes)) {
        std::stable_sort(nodes.pointer_begin(), nodes.pointer_end(), isBefore);
        takeOut(nodes, [&nodes](int i) {
            return i + 1 < nodes.size() && nodes.Get(i).id() == nodes.Get(i + 1).id();
        });
    }
    std::for_each(nodes.begin(), nodes.end(), putInOrder);
}

}  // namespace tarn::tree_updates
