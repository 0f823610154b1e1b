#include "service/runtime/DeltacastStartUp.h"

#include <utility>

#include "platform/utils/Log.h"
#include "service/devices/capture/DeltacastStatus.h"

namespace tarn::service {

using devices::DeltacastStatus;

namespace {

constexpr std::chrono::seconds lookingTime{3};
constexpr std::uint32_t startingTime = 5;    // seconds, for one that was found starting
constexpr std::uint32_t launchingTime = 10;  // seconds, for one that has yet to be launched

}  // namespace

DeltacastStartUp::DeltacastStartUp(Dependencies dependencies, std::string persistentFile)
    : dependencies(std::move(dependencies)), persistentFile(std::move(persistentFile)) {}

void DeltacastStartUp::run() const {
    utils::logInfo("Leaving some time for Deltacast handler to look for Deltacast service...");
    if (dependencies.pause(lookingTime)) {
        return;
    }
    utils::logInfo("... Done");
    switch (dependencies.status()) {
        case DeltacastStatus::Starting:
            utils::logInfo("Deltacast service status is STARTING, waiting for RUNNING status...");
            return waitForStart(startingTime);
        case DeltacastStatus::Unreachable:
            utils::logInfo(
                "Deltacast service status is UNREACHABLE, setting default configuration");
            if (applyConfiguration()) {
                waitForStart(launchingTime);
            }
            return;
        case DeltacastStatus::Running:
            break;
    }
    utils::logInfo("Deltacast service status is RUNNING, continuing");
}

bool DeltacastStartUp::applyConfiguration() const {
    return (!persistentFile.empty() && dependencies.applyConfigurationFile(persistentFile)) ||
           dependencies.applyDefaultConfiguration();
}

void DeltacastStartUp::waitForStart(std::uint32_t seconds) const {
    if (dependencies.waitForDeviceStarted(seconds)) {
        utils::logInfo("... Done");
    } else if (!dependencies.pause(std::chrono::milliseconds(0))) {
        utils::logError("... Failed waiting for device start. Persistent jobs may end up in error");
    }
}

}  // namespace tarn::service
