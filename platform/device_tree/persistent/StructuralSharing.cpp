#include "platform/device_tree/persistent/StructuralSharing.h"

#include <algorithm>
#include <utility>

#include "platform/device_tree/StatusValue.h"

namespace tarn::device_tree {

namespace {

using Node = CopyOnWrite<Content>;
using Children = decltype(Content::children);

bool areEqual(const NodeState& a, const NodeState& b) {
    return a.global == b.global && std::equal(a.statuses.begin(), a.statuses.end(),
                                              b.statuses.begin(), b.statuses.end(), isSame);
}

// Changed in place, so that what stays is shared with `before` in its structure, too.
Children sharedChildren(const Children& before, const Children& after) {
    Children result = before;
    Children::visitBoth(before, after, [&result](const Node* childBefore, const Node* childAfter) {
        if (childAfter == nullptr) {
            result.erase(*childBefore);
        } else if (childBefore == nullptr) {
            result.insert(*childAfter);
        } else {
            Node child = sharedWith(*childBefore, *childAfter);
            if (!child.sharesWith(*childBefore)) {
                result.insert(std::move(child));
            }
        }
        return true;
    });
    return result;
}

}  // namespace

CopyOnWrite<Content> sharedWith(const CopyOnWrite<Content>& before,
                                const CopyOnWrite<Content>& after) {
    if (before.sharesWith(after)) {
        return before;
    }
    Node result = after;
    Content& content = result.writable();
    content.children = sharedChildren(before->children, after->children);
    if (areEqual(*before->description, *after->description)) {
        content.description = before->description;
    }
    if (areEqual(*before->state, *after->state)) {
        content.state = before->state;
    }
    const bool isEqual = content.description.sharesWith(before->description) &&
                         content.state.sharesWith(before->state) &&
                         content.children.sharesWith(before->children);
    return isEqual ? before : result;
}

}  // namespace tarn::device_tree
