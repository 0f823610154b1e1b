#include "platform/tree_updates/TreeFollower.h"

#include "platform/tree_updates/nodes/ChangedNode.h"
#include "proto/service_event.pb.h"

namespace tarn::tree_updates {

using Finding = TreeFollower::Finding;
using proto::service_event::TreeUpdate;

namespace {

// As many batches as there are numbers from the first to the last.
bool isWithoutGap(const TreeUpdate& update) {
    const auto& batches = update.batch();
    return batches.rbegin()->sequence() - batches.begin()->sequence() + 1 ==
               static_cast<std::uint64_t>(batches.size()) &&
           batches.begin()->gateway_instance() == batches.rbegin()->gateway_instance();
}

}  // namespace

Finding TreeFollower::take(TreeUpdate& update) {
    if (update.batch().empty()) {
        return Finding::Nothing;
    }
    const auto& first = update.batch(0);
    if (first.catch_up()) {
        return adopt(update);
    }
    if (first.sequence() == 0) {
        return Finding::Nothing;  // somebody else has become too slow
    }
    const bool isOfThisGateway = first.gateway_instance() == gateway && isWithoutGap(update);
    if (state == State::Following && isOfThisGateway && first.sequence() <= last) {
        return Finding::Nothing;
    }
    if (update.has_device_tree()) {
        return adopt(update);
    }
    if (state == State::Awaiting) {
        return Finding::Nothing;
    }
    return isOfThisGateway && first.sequence() == last + 1 ? follow(update) : await(Finding::Lost);
}

// All of the tree, whatever was before.
Finding TreeFollower::adopt(TreeUpdate& update) {
    state = State::Following;
    gateway = update.batch().rbegin()->gateway_instance();
    last = update.batch().rbegin()->sequence();
    knowsTree = update.has_device_tree();
    root.Clear();
    root.Swap(update.mutable_device_tree());
    putInOrder(root);
    return Finding::Changed;
}

Finding TreeFollower::follow(TreeUpdate& update) {
    last = update.batch().rbegin()->sequence();
    if (!update.has_difference()) {
        return Finding::Unchanged;
    }
    if (knowsTree && apply(*update.mutable_difference(), root)) {
        return Finding::Changed;
    }
    knowsTree = false;
    return await(Finding::Damaged);
}

Finding TreeFollower::await(Finding reason) {
    state = State::Awaiting;
    return reason;
}

}  // namespace tarn::tree_updates
