#pragma once

#include <vector>

#include "platform/cell/rules/FolderRules.h"

namespace tarn::cell {

/// What every program with the media library needs of a machine: libraries, plug-ins, fonts, names,
/// devices without content. None of it belongs to the service.
std::vector<FolderRule> systemFolders();

/// What the search variables of the media library and of the loader name.
std::vector<FolderRule> searchFolders();

}  // namespace tarn::cell
