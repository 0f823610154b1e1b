#pragma once

#include <string>

namespace tarn::peers {

/// Loads each file of a colon-separated list as a plug-in of the media library; empty entries and
/// paths where nothing is are skipped. One that cannot be loaded is a line on standard error.
void loadPlugins(const std::string& paths);

}  // namespace tarn::peers
