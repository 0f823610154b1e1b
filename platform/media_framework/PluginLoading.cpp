#include "platform/media_framework/PluginLoading.h"

#include <dlfcn.h>

#include <mutex>
#include <set>

#include "platform/utils/Log.h"

namespace tarn::media_framework {

namespace {

using Initialize = int (*)();

// Libraries stay loaded whatever happens: their code may be in use somewhere.
class Plugins {
  public:
    bool isStarted(const std::string& path);
    PluginResult load(const std::string& path);

  private:
    static PluginResult start(void* library, const std::string& path);

    std::recursive_mutex mutex;  // a plug-in may load others while it starts
    std::set<void*> started;
};

bool Plugins::isStarted(const std::string& path) {
    const std::lock_guard lock(mutex);
    void* const library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
    if (library == nullptr) {
        return false;
    }
    ::dlclose(library);
    return started.count(library) != 0;
}

PluginResult Plugins::load(const std::string& path) {
    const std::lock_guard lock(mutex);
    void* const library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        const char* const reason = ::dlerror();
        return refusePlugin(PluginResult::NotLoaded, path,
                            reason != nullptr ? reason : "unknown error");
    }
    if (started.count(library) != 0) {
        return PluginResult::Started;
    }
    const auto result = start(library, path);
    if (result == PluginResult::Started) {
        started.insert(library);
    }
    return result;
}

PluginResult Plugins::start(void* library, const std::string& path) {
    const auto initialize = reinterpret_cast<Initialize>(::dlsym(library, "KLNPluginInitialize"));
    if (initialize == nullptr) {
        return PluginResult::Started;
    }
    const auto refused = [&path](const std::string& reason) {
        return refusePlugin(PluginResult::Refused, path, "refused to start: " + reason);
    };
    try {
        const int answer = initialize();
        return answer == 0 ? PluginResult::Started : refused(std::to_string(answer));
    } catch (const std::exception& e) {
        return refused(e.what());
    } catch (...) {  // foreign code: whatever it throws must not end the service
        return refused("unknown exception");
    }
}

Plugins& plugins() {
    static auto* const instance = new Plugins();
    return *instance;
}

}  // namespace

bool isPluginStarted(const std::string& path) {
    return plugins().isStarted(path);
}

PluginResult loadPlugin(const std::string& path) {
    return plugins().load(path);
}

PluginResult refusePlugin(PluginResult result, const std::string& path, const std::string& reason) {
    tarn::utils::logWarning("KLNLoadPluginLibrary > Plug-in " + path + ": " + reason);
    return result;
}

}  // namespace tarn::media_framework
