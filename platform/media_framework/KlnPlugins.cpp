#include <dlfcn.h>

#include <mutex>
#include <set>
#include <string>

#include "platform/media_framework/Kln.h"
#include "platform/utils/Log.h"
#include "platform/utils/MessageFormatter.h"

namespace {

enum Result { Done = 0, NoPath = 1, NotLoaded = 2, Refused = 3 };

using Initialize = int (*)();

// Libraries stay loaded whatever happens: their code may be in use somewhere.
class Plugins : private tarn::utils::MessageFormatter {
  public:
    Plugins() : MessageFormatter("KLNLoadPluginLibrary") {}

    Result load(const std::string& path);

  private:
    Result start(void* library, const std::string& path) const;
    Result failed(Result result, const std::string& path, const std::string& reason) const;

    std::recursive_mutex mutex;  // a plug-in may load others while it starts
    std::set<void*> started;
};

Result Plugins::load(const std::string& path) {
    const std::lock_guard lock(mutex);
    void* const library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        const char* const reason = ::dlerror();
        return failed(NotLoaded, path, reason != nullptr ? reason : "unknown error");
    }
    if (started.count(library) != 0) {
        return Done;
    }
    const auto result = start(library, path);
    if (result == Done) {
        started.insert(library);
    }
    return result;
}

Result Plugins::start(void* library, const std::string& path) const {
    const auto initialize = reinterpret_cast<Initialize>(::dlsym(library, "KLNPluginInitialize"));
    if (initialize == nullptr) {
        return Done;
    }
    try {
        const int answer = initialize();
        return answer == 0 ? Done
                           : failed(Refused, path, "refused to start: " + std::to_string(answer));
    } catch (const std::exception& e) {
        return failed(Refused, path, std::string("refused to start: ") + e.what());
    } catch (...) {  // foreign code: whatever it throws must not end the service
        return failed(Refused, path, "refused to start: unknown exception");
    }
}

Result Plugins::failed(Result result, const std::string& path, const std::string& reason) const {
    tarn::utils::logWarning(formatMessage("Plug-in " + path + ": " + reason));
    return result;
}

Plugins& plugins() {
    static auto* const instance = new Plugins();
    return *instance;
}

}  // namespace

int KLNLoadPluginLibrary(const char* path) {
    return path == nullptr || *path == '\0' ? NoPath : plugins().load(path);
}
