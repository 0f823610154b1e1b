#pragma once

#include <string>
#include <vector>

#include "platform/cell/Cell.h"
#include "platform/cell/kernel/Ruleset.h"

namespace tarn::cell {

struct FolderRule {
    std::string path;
    Access access;
    bool mustBeThere = false;  ///< it was asked for: a place that is missing is worth a line
};

/// Every rule of a cell's files. Looks at the folders of this machine where the cell is to reach
/// all but the service's own: the kernel knows only what is allowed, so beside what is not, each
/// neighbour is. What is made in such a folder later cannot be reached.
std::vector<FolderRule> folderRules(const Cell& cell);

}  // namespace tarn::cell
