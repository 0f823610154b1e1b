#pragma once

#include <string>

namespace tarn::media_framework {

enum class PluginResult : int { Started = 0, NoPath = 1, NotLoaded = 2, Refused = 3, Harmful = 4 };

/// Whether the library is loaded and started in this process.
bool isPluginStarted(const std::string& path);

/// Loads and starts a plug-in in this process, as KLNLoadPluginLibrary does after the trial. It may
/// take the process with it.
PluginResult loadPlugin(const std::string& path);

/// Logs why a plug-in is not used and returns the result.
PluginResult refusePlugin(PluginResult result, const std::string& path, const std::string& reason);

}  // namespace tarn::media_framework
