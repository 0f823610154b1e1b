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

DeltacastStartUp::DeltacastStartUp(Surroundings surroundings, std::string persistentFile)
    : surroundings(std::move(surroundings)), persistentFile(std::move(persistentFile)) {}

void DeltacastStartUp::run() const {
    utils::logInfo("Leaving some time for Deltacast handler to look for Deltacast service...");
    if (surroundings.pause(lookingTime)) {
        return;
    }
    utils::logInfo("... Done");
    switch (surroundings.status()) {
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
    return (!persistentFile.empty() && surroundings.applyConfigurationFile(persistentFile)) ||
           surroundings.applyDefaultConfiguration();
}

void DeltacastStartUp::waitForStart(std::uint32_t seconds) const {
    if (surroundings.waitForDeviceStarted(seconds)) {
        utils::logInfo("... Done");
    } else if (!surroundings.pause(std::chrono::milliseconds(0))) {
        utils::logError("... Failed waiting for device start. Persistent jobs may end up in error");
    }
}

}  // namespace tarn::service
