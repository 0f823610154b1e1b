#include "platform/tree_updates/TreeFollower.h"

#include "platform/tree_updates/nodes/ChangedNode.h"
#include "proto/service_event.pb.h"

namespace tarn::tree_updates {

using Finding = TreeFollower::Finding;
using proto::service_event::TreeUpdate;

Finding TreeFollower::take(TreeUpdate& update) {
    const auto& batch = update.batch();
    if (batch.catch_up()) {
        return adopt(update);
    }
    if (batch.sequence() == 0) {
        return Finding::Nothing;  // somebody else has become too slow
    }
    if (state == State::Awaiting) {
        return update.has_device_tree() ? adopt(update) : Finding::Nothing;
    }
    const bool isOfThisGateway = batch.gateway_instance() == gateway;
    if (isOfThisGateway && batch.sequence() <= last) {
        return Finding::Nothing;
    }
    if (update.has_device_tree()) {
        return adopt(update);
    }
    return isOfThisGateway && batch.sequence() == last + 1 ? follow(update) : await(Finding::Lost);
}

// All of the tree, whatever was before.
Finding TreeFollower::adopt(TreeUpdate& update) {
    state = State::Following;
    gateway = update.batch().gateway_instance();
    last = update.batch().sequence();
    knowsTree = update.has_device_tree();
    root.Clear();
    root.Swap(update.mutable_device_tree());
    putInOrder(root);
    return Finding::Changed;
}

Finding TreeFollower::follow(TreeUpdate& update) {
    last = update.batch().sequence();
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
