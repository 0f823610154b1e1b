#include "service/runtime/ManagerReports.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/utils/Log.h"

namespace tarn::service {

namespace {

void logUnlessTold(bool told) {
    if (!told) {
        utils::logWarning("The service manager cannot be told: " +
                          std::generic_category().message(errno));
    }
}

}  // namespace

ManagerReports::ManagerReports(os::ServiceManager manager) : manager(std::move(manager)) {}

void ManagerReports::ready() const {
    logUnlessTold(manager.ready());
}

void ManagerReports::alive() {
    logUnlessTold(manager.alive(os::ServiceManager::Clock::now()));
}

void ManagerReports::stopping() const {
    logUnlessTold(manager.stopping());
}

}  // namespace tarn::service
