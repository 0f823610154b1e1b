#include "peers/pipeline_process/ElementRules.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>

namespace tarn::peers {

namespace fs = std::filesystem;

namespace {

using GstFeaturePtr = std::unique_ptr<GstPluginFeature, ReleaseWith<gst_object_unref>>;

constexpr std::string_view withLocalSockets[] = {
    "shm",     "unixfd", "tarnstorage", "pulse",   "pipewire",  "jack",      "ipcpipeline",
    "wayland", "ximage", "xvimage",     "glimage", "autovideo", "autoaudio", "alsa"};

std::string locationOf(GstElement& element) {
    GParamSpec* const property =
        g_object_class_find_property(G_OBJECT_GET_CLASS(&element), "location");
    if (property == nullptr || property->value_type != G_TYPE_STRING) {
        return {};
    }
    gchar* text = nullptr;
    g_object_get(&element, "location", &text, nullptr);
    const GCharPtr owner(text);
    return text != nullptr ? text : "";
}

// An address of a protocol is no file.
bool isFile(const std::string& location) {
    return !location.empty() && location.find("://") == std::string::npos;
}

bool isBelow(const fs::path& path, const std::vector<std::string>& folders) {
    return std::any_of(folders.begin(), folders.end(), [&](const fs::path folder) {
        const auto below = path.lexically_relative(folder);
        return !below.empty() && *below.begin() != "..";
    });
}

struct OutputCheck {
    const std::vector<std::string>& folders;
    std::optional<std::string> problem = {};

    void look(GstElement& element) {
        const auto location =
            GST_OBJECT_FLAG_IS_SET(&element, GST_ELEMENT_FLAG_SINK) ? locationOf(element) : "";
        if (problem || !isFile(location)) {
            return;
        }
        std::error_code ignored;
        if (!isBelow(fs::absolute(location, ignored).lexically_normal(), folders)) {
            const GCharPtr name(gst_object_get_name(GST_OBJECT(&element)));
            problem = std::string(name.get()) + ": " + location +
                      " is not below a folder that jobs may write to";
        }
    }
};

void lookAt(const GValue* item, gpointer check) {
    static_cast<OutputCheck*>(check)->look(*GST_ELEMENT(g_value_get_object(item)));
}

}  // namespace

void refuseElements(const std::vector<std::string>& names) {
    GstRegistry* const registry = gst_registry_get();
    for (const auto& name : names) {
        const GstFeaturePtr feature(
            gst_registry_find_feature(registry, name.c_str(), GST_TYPE_ELEMENT_FACTORY));
        if (feature) {
            gst_registry_remove_feature(registry, feature.get());
        }
    }
}

std::string explainRefusal(const std::string& error, const std::vector<std::string>& refused) {
    for (const auto& name : refused) {
        if (error.find('"' + name + '"') != std::string::npos) {
            return "; the configuration refuses " + name;
        }
    }
    return {};
}

std::optional<std::string> writesOutside(GstElement& pipeline,
                                         const std::vector<std::string>& folders) {
    OutputCheck check{folders};
    const GstIteratorPtr elements(gst_bin_iterate_recurse(GST_BIN(&pipeline)));
    while (gst_iterator_foreach(elements.get(), lookAt, &check) == GST_ITERATOR_RESYNC) {
        gst_iterator_resync(elements.get());
    }
    return check.problem;
}

bool usesLocalSockets(const std::string& pipeline) {
    return std::any_of(std::begin(withLocalSockets), std::end(withLocalSockets),
                       [&](auto name) { return pipeline.find(name) != std::string::npos; });
}

}  // namespace tarn::peers
