#include "peers/pipeline_process/PluginLoader.h"

#include <filesystem>
#include <iostream>
#include <sstream>

#include "peers/pipeline_process/GstPointers.h"

namespace tarn::peers {

namespace {

void loadPlugin(const std::string& path) {
    GError* failure = nullptr;
    GstPlugin* const plugin = gst_plugin_load_file(path.c_str(), &failure);
    const GErrorPtr failureOwner(failure);
    if (plugin != nullptr) {
        gst_object_unref(plugin);
    } else {
        std::cerr << "warning: plug-in " << path << " is not loaded: "
                  << (failure != nullptr ? failure->message : "unknown reason") << std::endl;
    }
}

}  // namespace

void loadPlugins(const std::string& paths) {
    std::istringstream list(paths);
    for (std::string path; std::getline(list, path, ':');) {
        std::error_code ignored;
        if (!path.empty() && std::filesystem::exists(path, ignored)) {
            loadPlugin(path);
        }
    }
}

}  // namespace tarn::peers
