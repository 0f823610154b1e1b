#include "platform/program/Readiness.h"

#include <cerrno>
#include <system_error>

#include "platform/os/ServiceManager.h"
#include "platform/utils/Log.h"

namespace tarn::program {

void announceReadiness() {
    if (!os::ServiceManager::fromEnvironment().ready()) {
        utils::logWarning("the service manager cannot be told: " +
                          std::generic_category().message(errno));
    }
}

}  // namespace tarn::program
