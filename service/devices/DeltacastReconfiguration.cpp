// How the controller applies a capture format.
#include <algorithm>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/utils/Printable.h"
#include "proto/deltacast_configuration.pb.h"
#include "service/configuration/ConfigurationHandler.h"
#include "service/configuration/DeltacastServiceConfigurationHandler.h"
#include "service/devices/DeltacastConfigurationFile.h"
#include "service/devices/DeltacastDeviceController.h"
#include "service/devices/DeltacastFormat.h"

namespace tarn::service::devices {

namespace {

constexpr int startAttempts = 10;
constexpr std::chrono::milliseconds betweenAttempts{1000};
constexpr std::size_t loggedCommandLimit = 4096;

}  // namespace

void DeltacastDeviceController::configure(const DeltacastConfig& config) {
    slot.put(config);
}

bool DeltacastDeviceController::applyDefaultConfiguration() {
    slot.putDefaults();
    return true;
}

bool DeltacastDeviceController::applyConfigurationFile(const std::string& path) {
    DeltacastConfig config;
    if (!DeltacastConfigurationFile(path, *this).load(config)) {
        return false;
    }
    configure(config);
    return true;
}

bool DeltacastDeviceController::saveConfiguration(const DeltacastConfig& config) {
    const auto& path = surroundings.configuration.getPersistentDeltacastConfigurationFile();
    return DeltacastConfigurationFile(path, *this).save(config);
}

void DeltacastDeviceController::checkAndApplyPendingReconfigurationRequests() {
    checkThread();
    const auto wish = slot.take();
    if (wish.wish == DeltacastConfigurationSlot::Wish::None) {
        return;
    }
    const auto service = findServiceConfiguration();
    if (!service) {
        return;
    }
    const auto commandLine = commandLineOf(wish, *service) + " &";
    stopOrKillRunningService();
    if (isStopped()) {
        logInfo("Deltacast service not started again: this service stops");
        return;
    }
    launch(commandLine);
    if (wish.configuration && wish.configuration->IsInitialized()) {
        saveConfiguration(*wish.configuration);
    }
    awaitStart();
}

std::shared_ptr<DeltacastDeviceController::ServiceConfiguration>
DeltacastDeviceController::findServiceConfiguration() const {
    const auto& services = surroundings.configuration.getDeltacastServices();
    if (services.empty()) {
        logFailure("Could not find Deltacast service config");
        return nullptr;
    }
    if (!services.front()) {
        logFailure("Invalid Deltacast service config");
    }
    return services.front();
}

std::string DeltacastDeviceController::commandLineOf(const DeltacastConfigurationSlot::Taken& wish,
                                                     const ServiceConfiguration& service) {
    return wish.configuration ? commandLineFor(*wish.configuration, service)
                              : service.getDefaultCommandLine();
}

std::string DeltacastDeviceController::commandLineFor(const DeltacastConfig& config,
                                                      const ServiceConfiguration& service) {
    const auto format = toFormat(config);
    std::string error;
    if (!surroundings.resourceManager.setDeltacastConfiguration(
            {format.pixelFormat, format.inputList, format.frameOffsetList, format.lineCount,
             format.fieldMode, format.frameRate},
            error)) {
        logFailure("Error when storing deltacast configuration");
    }
    return service.getCommandLine(format.pixelFormat, format.inputList, format.frameOffsetList,
                                  format.lineCount, format.fieldMode, format.frameRate);
}

void DeltacastDeviceController::launch(const std::string& commandLine) {
    logInfo("Starting Deltacast service: " + utils::printable(commandLine, loggedCommandLimit));
    try {
        surroundings.runShell(commandLine);
    } catch (const std::exception& e) {
        logFailure(std::string("Failed starting Deltacast service: ") + e.what());
    }
    launched = Launch::Done;
    setStatusStarting();
}

void DeltacastDeviceController::awaitStart() {
    logInfo("Waiting at most 10 seconds for Service to start...");
    answerWithin = std::min(surroundings.answerWithin, betweenAttempts);
    const bool answers = answersInTime();
    answerWithin = surroundings.answerWithin;
    if (answers) {
        logInfo("Service reconfigured!");
        describeAgain();
    } else if (!isStopped()) {
        logFailure("... Failed");
        setStatusUnreachable();
    }
}

// An attempt a second: what it takes itself counts.
bool DeltacastDeviceController::answersInTime() {
    for (int attempt = 0; attempt < startAttempts && !isStopped(); ++attempt) {
        const auto next = surroundings.now() + betweenAttempts;
        if (pingOrPoll()) {
            return true;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(next - surroundings.now());
        if (left.count() > 0) {
            surroundings.pause(left, stopFlag.get_token());
        }
    }
    return false;
}

}  // namespace tarn::service::devices
