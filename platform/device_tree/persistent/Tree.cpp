#include "platform/device_tree/persistent/Tree.h"

#include "platform/device_tree/persistent/StructuralSharing.h"

namespace tarn::device_tree {

Tree::Tree(CopyOnWrite<Content> node) : root(std::move(node)), index(*root) {}

Tree::Tree(CopyOnWrite<Content> node, DeviceIndex indexOfAll, NodePathPointer placeOfNode)
    : root(std::move(node)), index(std::move(indexOfAll)), base(std::move(placeOfNode)) {}

bool Tree::isRoot(const NodePathPointer& place) const {
    return depthOf(place.get()) == depthOf(base.get());
}

const Content& Tree::at(const NodePathPointer& place) const {
    return isRoot(place) ? *root : **at(place->parent).children.find(place->id());
}

Content& Tree::writableAt(const NodePathPointer& place) {
    return resizedAt(place, 0);
}

// From the root down, since every node on the way counts those below it and may be shared.
Content& Tree::resizedAt(const NodePathPointer& place, std::int64_t growth) {
    Content& content =
        isRoot(place) ? root.writable()
                      : resizedAt(place->parent, growth).children.writable(place->id()).writable();
    content.size = static_cast<std::uint32_t>(content.size + growth);
    return content;
}

Tree::Found Tree::find(std::string_view id) const {
    if (root->description->id == id) {
        return {base, &*root};
    }
    NodePathPointer place = index.first(id, base);
    const Content* content = place ? &at(place) : nullptr;
    return {std::move(place), content};
}

std::optional<Tree> Tree::subtree(std::string_view id) const {
    if (root->description->id == id) {
        return *this;
    }
    const NodePathPointer place = index.first(id, base);
    if (!place) {
        return std::nullopt;
    }
    return Tree(*at(place->parent).children.find(id), index, place);
}

// With the whole index: its own place tells it which part of that is below it.
std::optional<Tree> Tree::child(std::string_view id) const {
    const auto* found = root->children.find(id);
    if (!found) {
        return std::nullopt;
    }
    return Tree(*found, index, NodePathPointer(new NodePath(base, (*found)->description)));
}

std::vector<Tree> Tree::children() const {
    std::vector<Tree> result;
    result.reserve(root->children.size());
    root->children.forEach([&](const CopyOnWrite<Content>& child) {
        result.push_back(
            Tree(child, index, NodePathPointer(new NodePath(base, child->description))));
    });
    return result;
}

void Tree::add(const CopyOnWrite<Content>& child) {
    const auto* known = root->children.find(child->description->id);
    if (!known) {
        resizedAt(base, child->size).children.insert(child);
        index.add(*child, base);
        return;
    }
    const CopyOnWrite<Content> before = *known;
    const CopyOnWrite<Content> after = sharedWith(before, child);
    if (!after.sharesWith(before)) {
        const auto growth = std::int64_t{after->size} - std::int64_t{before->size};
        resizedAt(base, growth).children.insert(after);
        reindexBelow(*before, *after, NodePathPointer(new NodePath(base, before->description)));
    }
}

// Places are the same where ids are.
void Tree::reindexBelow(const Content& before, const Content& after, const NodePathPointer& place) {
    using Child = CopyOnWrite<Content>;
    const auto visit = [&](const Child* childBefore, const Child* childAfter) {
        if (!childBefore) {
            index.add(**childAfter, place);
        } else if (!childAfter) {
            index.remove(**childBefore, place);
        } else {
            const NodePathPointer below(new NodePath(place, (*childBefore)->description));
            reindexBelow(**childBefore, **childAfter, below);
        }
        return true;
    };
    decltype(after.children)::visitBoth(before.children, after.children, visit);
}

bool Tree::removeChild(std::string_view id) {
    return removeChildAt(base, id);
}

bool Tree::removeBelow(std::string_view id) {
    const NodePathPointer place = index.first(id, base);
    return place && removeChildAt(place->parent, id);
}

bool Tree::removeChildAt(const NodePathPointer& parent, std::string_view id) {
    const auto* child = at(parent).children.find(id);
    if (!child) {
        return false;
    }
    const CopyOnWrite<Content> removed = *child;  // keeps the id, too
    index.remove(*removed, parent);
    return resizedAt(parent, -std::int64_t{removed->size}).children.erase(id);
}

bool Tree::isFound(const std::vector<const Content*>& way) const {
    const std::string& id = way.back()->description->id;
    if (id == root->description->id) {
        return way.size() == 1;
    }
    const NodePathPointer found = index.first(id, base);
    const NodePath* place = found.get();
    if (depthOf(place) - depthOf(base.get()) != way.size() - 1) {
        return false;
    }
    for (auto node = way.rbegin(); node + 1 != way.rend(); ++node) {
        if ((*node)->description->id != place->id()) {
            return false;
        }
        place = place->parent.get();
    }
    return true;
}

}  // namespace tarn::device_tree
