#pragma once

#include <string_view>

#include "platform/device_tree/persistent/NodePath.h"

namespace tarn::device_tree {

/// Where the nodes of a tree hang, by their ids; the root is not in it. A value that shares its
/// structure with its copies.
class DeviceIndex {
  public:
    DeviceIndex() = default;

    /// Of the nodes below `root`.
    explicit DeviceIndex(const Content& root);

    /// The first in walking order of the nodes of that id below a place; null when there is none.
    NodePathPointer first(std::string_view id, const NodePathPointer& below) const;

    /// A node and all below it.
    void add(const Content& node, const NodePathPointer& parent);
    void remove(const Content& node, const NodePathPointer& parent);

  private:
    struct Entry {
        std::size_t hash;  // of the id: sorts quicker than ids do
        NodePathPointer place;
    };

    /// Comes right after the entry of this id at that place.
    struct After {
        std::size_t hash;
        std::string_view id;
        const NodePath* place;
    };

    struct Order {
        static int compare(const Entry& a, const Entry& b);
        static int compare(const After& a, const Entry& b);
    };

    using Entries = PersistentSet<Entry, Order>;

    static Entry entryOf(const Content& node, const NodePathPointer& parent);
    static void collectBelow(const Content& node, const NodePathPointer& at,
                             std::vector<Entry>& into);
    static Entries sorted(std::vector<Entry> collected);
    static Entries entriesOf(const Content& node, const NodePathPointer& parent);

    Entries entries;
};

}  // namespace tarn::device_tree
