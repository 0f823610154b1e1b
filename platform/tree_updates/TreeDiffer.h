#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarn::tree_updates {

// What differs between two trees, by their bytes: serialised messages of DeviceNode. Neither tree
// is built; what is as it was is only compared. Any thread.

/// Whether ids can lead the way in this tree: each node begins with its id and ends with its
/// sub-devices, whose ids ascend. So the service writes every tree. In proportion to the tree.
bool isOrderly(std::string_view tree);

/// The serialised TreeDifference that leads from `before`, which is orderly, to `after`; empty
/// where they are equal. Nothing where all of `after` is to be told instead: it is not orderly,
/// deeper than a difference can be, or less than the difference.
///
/// Costs a comparison of the bytes; beyond that it is in proportion to what differs, and to the
/// number of sub-devices beside that.
std::optional<std::string> differenceBetween(std::string_view before, std::string_view after);

}  // namespace tarn::tree_updates
