#include <filesystem>
#include <string>

#include "platform/media_framework/Kln.h"
#include "platform/media_framework/PluginLoading.h"
#include "platform/media_framework/trial/PluginTrial.h"

namespace {

using namespace tarn::media_framework;

// Long enough for one that looks for hardware, and for a busy machine.
constexpr std::chrono::seconds trialBound{10};

// Beside this program.
PluginTrial trial() {
    const auto program = std::filesystem::read_symlink("/proc/self/exe");
    return {program.parent_path() / PluginTrial::programName, trialBound};
}

PluginResult tryAndLoad(const std::string& path) {
    if (isPluginStarted(path)) {
        return PluginResult::Started;
    }
    if (const auto failure = trial().failureOf(path)) {
        return refusePlugin(PluginResult::Harmful, path, *failure);
    }
    return loadPlugin(path);
}

}  // namespace

int KLNLoadPluginLibrary(const char* path) {
    const bool given = path != nullptr && *path != '\0';
    return static_cast<int>(given ? tryAndLoad(path) : PluginResult::NoPath);
}
