#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "platform/device_tree/persistent/CopyOnWrite.h"

namespace tarn::device_tree {

/// An ordered set, as a value: copying costs the same for every size, and a change costs the
/// logarithm of the size, since copies share what they have in common. Copies may be used by
/// different threads.
///
/// `Order::compare(a, b)` is below, at or above 0, as a comes before, at or after b; b is an
/// element, a is an element or any other kind of key. Elements are few bytes and quick to copy.
///
/// A weight-balanced tree of nodes. A node is in one of two states:
///
///   owned    one link points to it: it belongs to one set, which writes it in place
///   shared   several do: several sets, or older and newer values of one, have it in common. Nobody
///            writes it
///
///   owned -> shared    a link to it is copied: with the set, or with the node above it
///   shared -> owned    all links but one are gone; or `writable` takes a copy, which is owned and
///                      shares both sides with the original
///
/// So every change goes down from the root by `writable`, and copies just the nodes on its way that
/// are shared: a logarithm of them. A node below a shared one counts as shared, since two ways lead
/// to it, though its own count may say one: that is why nobody may write to a node that was not
/// reached by `writable` from the root.
///
/// Always, between two calls:
///   - what is Less is below the element of its node, what is Greater above it;
///   - `size` counts the node and all below it;
///   - neither side is more than three times as heavy as the other, a side's weight being its size
///     and one. Within a change that may be broken at one node, by what one rotation or two put
///     right (`settle`); `joined` takes two sides of any weights and descends into the heavier one
///     until they fit.
template <typename T, typename Order>
class PersistentSet {
  public:
    PersistentSet() = default;

    /// The elements have to be in order, none twice. Linear.
    static PersistentSet ofSorted(std::vector<T> elements) {
        PersistentSet result;
        result.root = balancedTree(elements, 0, elements.size());
        return result;
    }

    bool empty() const { return !root; }
    std::size_t size() const { return sizeOf(root); }

    /// True means the same elements; false says nothing.
    bool sharesWith(const PersistentSet& other) const { return root.sharesWith(other.root); }

    /// Null when absent. Valid until this set changes.
    template <typename Key>
    const T* find(const Key& key) const {
        const T* found = firstNotBefore(key);
        return found && Order::compare(key, *found) == 0 ? found : nullptr;
    }

    template <typename Key>
    const T* firstNotBefore(const Key& key) const {
        const T* best = nullptr;
        const Link* at = &root;
        while (*at) {
            const bool after = Order::compare(key, (*at)->element) > 0;
            best = after ? best : &(*at)->element;
            at = &(*at)->side[after ? Greater : Less];
        }
        return best;
    }

    /// Of an element that is there. Its place in the order must stay. Valid until this set is
    /// changed or copied.
    template <typename Key>
    T& writable(const Key& key) {
        Link* at = &root;
        for (;;) {
            Node& node = at->writable();
            const auto order = Order::compare(key, node.element);
            if (order == 0) {
                return node.element;
            }
            at = &node.side[order < 0 ? Less : Greater];
        }
    }

    /// Replaces an equal element.
    void insert(T element) { insertAt(root, element); }

    /// False when there is none.
    template <typename Key>
    bool erase(const Key& key) {
        if (!find(key)) {
            return false;
        }
        eraseAt(root, key);
        return true;
    }

    /// Of equal elements the other's stay. Little work when one of the two is small.
    void unite(PersistentSet other) { root = united(std::move(root), std::move(other.root)); }
    void subtract(const PersistentSet& other) { root = without(std::move(root), other.root); }

    /// In order.
    template <typename Visitor>
    void forEach(Visitor&& visit) const {
        each(root, [&visit](const T& element) {
            visit(element);
            return true;
        });
    }

    /// Calls `visit(const T* inA, const T* inB)` in order for every key of the two, null where it
    /// is absent, but leaves out what both share. Ends with false when `visit` gives false.
    template <typename Visitor>
    static bool visitBoth(const PersistentSet& a, const PersistentSet& b, Visitor&& visit) {
        return both(a.root, b.root, visit);
    }

  private:
    enum Side { Less, Greater };
    struct Node;
    using Link = CopyOnWrite<Node>;

    struct Node : Counted<Node> {
        explicit Node(T content) : element(std::move(content)) {}

        std::uint32_t size = 1;
        std::array<Link, 2> side;
        T element;
    };

    struct Parts {
        Link less;
        Link equal;
        Link greater;
    };

    static Side opposite(Side side) { return side == Less ? Greater : Less; }
    static std::size_t sizeOf(const Link& at) { return at ? at->size : 0; }
    static std::size_t weightOf(const Link& at) { return sizeOf(at) + 1; }
    static bool isTooHeavy(const Link& at, const Link& beside) {
        return weightOf(at) > 3 * weightOf(beside);
    }

    static void countAgain(Node& node) {
        node.size =
            static_cast<std::uint32_t>(1 + sizeOf(node.side[Less]) + sizeOf(node.side[Greater]));
    }

    static Link balancedTree(std::vector<T>& elements, std::size_t from, std::size_t to) {
        if (from == to) {
            return {};
        }
        const std::size_t middle = from + (to - from) / 2;
        Link result = Link::make(std::move(elements[middle]));
        Node& node = result.writable();
        node.side[Less] = balancedTree(elements, from, middle);
        node.side[Greater] = balancedTree(elements, middle + 1, to);
        countAgain(node);
        return result;
    }

    /// The node on that side goes up, `at` goes down on the other.
    static void rotate(Link& at, Side rising) {
        Node& falling = at.writable();
        Link risen = std::move(falling.side[rising]);
        Node& top = risen.writable();
        falling.side[rising] = std::move(top.side[opposite(rising)]);
        countAgain(falling);
        top.side[opposite(rising)] = std::move(at);
        countAgain(top);
        at = std::move(risen);
    }

    /// One rotation does where the outer grandchild is the heavy one. Where it is the inner, that
    /// one would only change sides with its weight: it goes up first. With the factors 3 and 2 one
    /// of the two always balances.
    static void lighten(Link& at, Side heavy) {
        Link& child = at.writable().side[heavy];
        if (weightOf(child->side[opposite(heavy)]) >= 2 * weightOf(child->side[heavy])) {
            rotate(child, opposite(heavy));
        }
        rotate(at, heavy);
    }

    /// After a change below.
    static void settle(Link& at) {
        Node& node = at.writable();
        countAgain(node);
        if (isTooHeavy(node.side[Less], node.side[Greater])) {
            lighten(at, Less);
        } else if (isTooHeavy(node.side[Greater], node.side[Less])) {
            lighten(at, Greater);
        }
    }

    static void insertAt(Link& at, T& element) {
        if (!at) {
            at = Link::make(std::move(element));
            return;
        }
        Node& node = at.writable();
        const auto order = Order::compare(element, node.element);
        if (order == 0) {
            node.element = std::move(element);
            return;
        }
        insertAt(node.side[order < 0 ? Less : Greater], element);
        settle(at);
    }

    template <typename Key>
    static void eraseAt(Link& at, const Key& key) {
        Node& node = at.writable();
        const auto order = Order::compare(key, node.element);
        if (order == 0) {
            Link rest = concatenated(std::move(node.side[Less]), std::move(node.side[Greater]));
            at = std::move(rest);
            return;
        }
        eraseAt(node.side[order < 0 ? Less : Greater], key);
        settle(at);
    }

    /// `middle` is a single node between the two.
    static Link joined(Link less, Link middle, Link greater) {
        if (isTooHeavy(greater, less)) {
            Link& inner = greater.writable().side[Less];
            inner = joined(std::move(less), std::move(middle), std::move(inner));
            settle(greater);
            return greater;
        }
        if (isTooHeavy(less, greater)) {
            Link& inner = less.writable().side[Greater];
            inner = joined(std::move(inner), std::move(middle), std::move(greater));
            settle(less);
            return less;
        }
        Node& node = middle.writable();
        node.side = {std::move(less), std::move(greater)};
        countAgain(node);
        return middle;
    }

    /// The node of the least element, alone; the rest stays at `at`.
    static Link takeFirst(Link& at) {
        Node& node = at.writable();
        if (!node.side[Less]) {
            Link taken = std::move(at);
            at = std::move(node.side[Greater]);
            return taken;
        }
        Link taken = takeFirst(node.side[Less]);
        settle(at);
        return taken;
    }

    static Link concatenated(Link less, Link greater) {
        if (!greater) {
            return less;
        }
        Link middle = takeFirst(greater);
        return joined(std::move(less), std::move(middle), std::move(greater));
    }

    template <typename Key>
    static Parts split(Link at, const Key& key) {
        if (!at) {
            return {};
        }
        Node& node = at.writable();
        Link less = std::move(node.side[Less]);
        Link greater = std::move(node.side[Greater]);
        const auto order = Order::compare(key, node.element);
        if (order == 0) {
            return {std::move(less), std::move(at), std::move(greater)};
        }
        if (order < 0) {
            Parts parts = split(std::move(less), key);
            parts.greater = joined(std::move(parts.greater), std::move(at), std::move(greater));
            return parts;
        }
        Parts parts = split(std::move(greater), key);
        parts.less = joined(std::move(less), std::move(at), std::move(parts.less));
        return parts;
    }

    static Link united(Link a, Link b) {
        if (!a || !b) {
            return a ? a : b;
        }
        Parts parts = split(std::move(a), b->element);
        Node& node = b.writable();
        Link less = united(std::move(parts.less), std::move(node.side[Less]));
        Link greater = united(std::move(parts.greater), std::move(node.side[Greater]));
        return joined(std::move(less), std::move(b), std::move(greater));
    }

    static Link without(Link from, const Link& what) {
        if (!from || !what) {
            return from;
        }
        Parts parts = split(std::move(from), what->element);
        return concatenated(without(std::move(parts.less), what->side[Less]),
                            without(std::move(parts.greater), what->side[Greater]));
    }

    template <typename Visitor>
    static bool each(const Link& at, const Visitor& visit) {
        return !at || (each(at->side[Less], visit) && visit(at->element) &&
                       each(at->side[Greater], visit));
    }

    template <typename Visitor>
    /// Trees of the same history have the same nodes at the top, mostly: then both go down side by
    /// side. Else b is split by a's element, which costs copies of a few nodes on the way.
    static bool both(const Link& a, const Link& b, Visitor& visit) {
        if (a.sharesWith(b)) {
            return true;
        }
        if (!a) {
            return each(b, [&visit](const T& element) { return visit(nullptr, &element); });
        }
        if (!b) {
            return each(a, [&visit](const T& element) { return visit(&element, nullptr); });
        }
        if (Order::compare(a->element, b->element) == 0) {
            return both(a->side[Less], b->side[Less], visit) && visit(&a->element, &b->element) &&
                   both(a->side[Greater], b->side[Greater], visit);
        }
        const Parts parts = split(b, a->element);
        return both(a->side[Less], parts.less, visit) &&
               visit(&a->element, parts.equal ? &parts.equal->element : nullptr) &&
               both(a->side[Greater], parts.greater, visit);
    }

    Link root;
};

}  // namespace tarn::device_tree
