#pragma once

#include <string>
#include <vector>

#include "platform/device_tree/DeviceNode.h"

namespace tarn::device_tree {

struct Content;

/// What differs between two trees. Parts that both share are passed over.
class TreeDifference {
  public:
    enum class Kind { None, StatusValues, Other };

    template <typename Status>
    struct Change {
        const std::string* id;
        const Status* status;  // the new one
    };

    /// Neither node may change as long as this lives.
    TreeDifference(const DeviceNode& before, const DeviceNode& after);

    static bool areEqual(const DeviceNode& a, const DeviceNode& b);

    Kind kind() const { return found; }

    /// All that differs if the kind is StatusValues, in walking order.
    const std::vector<Change<GlobalStatus>>& globalStatuses() const { return globals; }
    const std::vector<Change<NamedStatus>>& namedStatuses() const { return named; }

  private:
    // These give false when there is no need to look further.
    bool compare(const Content& before, const Content& after);
    bool compareChildren(const Content& before, const Content& after);
    bool compareStatuses(const Content& before, const Content& after);
    bool differsOtherwise();

    Kind found = Kind::None;
    std::vector<Change<GlobalStatus>> globals;
    std::vector<Change<NamedStatus>> named;

    const Tree& treeAfter;
    std::vector<const Content*> way;  // from the root of `after` to the node at hand
};

}  // namespace tarn::device_tree
