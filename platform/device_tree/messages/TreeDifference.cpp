#include "platform/device_tree/messages/TreeDifference.h"

#include <algorithm>

#include "platform/device_tree/StatusValue.h"
#include "platform/device_tree/persistent/Tree.h"

namespace tarn::device_tree {

namespace {

bool haveSameStatuses(const NodeState& a, const NodeState& b) {
    return std::equal(a.statuses.begin(), a.statuses.end(), b.statuses.begin(), b.statuses.end(),
                      [](const NamedStatus& inA, const NamedStatus& inB) {
                          return inA.getName() == inB.getName() && inA.getType() == inB.getType();
                      });
}

}  // namespace

TreeDifference::TreeDifference(const DeviceNode& before, const DeviceNode& after)
    : treeAfter(*after.tree) {
    if (!before.tree->node().sharesWith(after.tree->node())) {
        compare(*before.tree->node(), *after.tree->node());
    }
}

bool TreeDifference::areEqual(const DeviceNode& a, const DeviceNode& b) {
    return TreeDifference(a, b).kind() == Kind::None;
}

bool TreeDifference::differsOtherwise() {
    found = Kind::Other;
    return false;
}

bool TreeDifference::compare(const Content& before, const Content& after) {
    if (before.size != after.size ||
        (!before.description.sharesWith(after.description) &&
         !device_tree::areEqual(*before.description, *after.description))) {
        return differsOtherwise();
    }
    way.push_back(&after);
    const bool goOn = compareStatuses(before, after) && compareChildren(before, after);
    way.pop_back();
    return goOn;
}

bool TreeDifference::compareStatuses(const Content& before, const Content& after) {
    if (before.state.sharesWith(after.state)) {
        return true;
    }
    if (!haveSameStatuses(*before.state, *after.state)) {
        return differsOtherwise();
    }
    const std::size_t changesSoFar = globals.size() + named.size();
    const std::string* id = &after.description->id;
    if (before.state->global != after.state->global) {
        globals.push_back({id, &after.state->global});
    }
    for (std::size_t i = 0; i < after.state->statuses.size(); ++i) {
        const NamedStatus& status = after.state->statuses[i];
        if (!isSame(before.state->statuses[i], status)) {
            named.push_back({id, &status});
        }
    }
    if (globals.size() + named.size() == changesSoFar) {
        return true;
    }
    found = Kind::StatusValues;
    // A change that names the id would go to another node that has it, too.
    return treeAfter.isFound(way) || differsOtherwise();
}

bool TreeDifference::compareChildren(const Content& before, const Content& after) {
    using Child = CopyOnWrite<Content>;
    const auto visit = [this](const Child* childBefore, const Child* childAfter) {
        if (!childBefore || !childAfter) {
            return differsOtherwise();
        }
        return childBefore->sharesWith(*childAfter) || compare(**childBefore, **childAfter);
    };
    return decltype(after.children)::visitBoth(before.children, after.children, visit);
}

}  // namespace tarn::device_tree
