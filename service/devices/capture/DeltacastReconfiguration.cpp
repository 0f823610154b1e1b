// How the controller applies a capture format: the road from a wish in its slot to a process that
// captures it. One cycle of the management thread goes all of it, or as far as it comes.
//
//     Idle --a wish is taken from the slot--> Ordered --the old process has ended--> Stopped
//     Stopped --the shell has launched the command--> Launched --it answers within 10 s--> Idle
//     Launched --it does not answer--> Idle, with another wish in the slot: see givingWay, and
//                                      DeltacastRestart for the one that ended by itself
//     any --this service stops--> Idle, with what was ordered on the disk
//
// Where a reader meets these steps: DeltacastStatus is what clients see of them,
// CaptureFormatTransaction what the disk knows, DeltacastRestart whether the process is started
// again. What always holds:
//
// - An ordered format is on the disk before the old process is told to stop, and stays there as
//   wanted until its process was launched and the format file has it. So there is no moment at
//   which a kill of this service loses both what captured and what should.
// - A new process is launched only after the old one has ended, or has had its time where it cannot
//   be shown which process that is; and never by a service that stops.
// - What the controller wishes itself never takes the place of what a client ordered: it offers,
//   clients put.
// - A format counts as good only when a process describes itself by it. One that was good before is
//   not given up for another: then it is not the format that is wrong.
#include <algorithm>
#include <memory>
#include <utility>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/utils/Printable.h"
#include "proto/capture_format_record.pb.h"
#include "proto/deltacast_configuration.pb.h"
#include "service/configuration/ConfigurationHandler.h"
#include "service/configuration/DeltacastServiceConfigurationHandler.h"
#include "service/devices/capture/DeltacastConfigurationFile.h"
#include "service/devices/capture/DeltacastDeviceController.h"
#include "service/devices/capture/DeltacastFormat.h"

namespace tarn::service::devices {

namespace {

constexpr int startAttempts = 10;
constexpr std::chrono::milliseconds betweenAttempts{1000};
constexpr std::size_t loggedCommandLimit = 4096;

// The default format, and one that lacks a required field, are not.
bool isKept(const DeltacastConfigurationSlot::Taken& wish) {
    return wish.configuration && wish.configuration->IsInitialized();
}

}  // namespace

void DeltacastDeviceController::configure(const DeltacastConfig& config) {
    slot.put(config);
}

bool DeltacastDeviceController::applyDefaultConfiguration() {
    slot.putDefaults();
    return true;
}

// What was ordered and not launched any more by the service before this one is newer than the file.
bool DeltacastDeviceController::applyConfigurationFile(const std::string& path) {
    DeltacastConfig config;
    if (const auto record = CaptureFormatRecordFile(path, *this).load(); record.has_wanted()) {
        configure(record.wanted());
        return true;
    }
    if (!DeltacastConfigurationFile(path, *this).load(config)) {
        return false;
    }
    configure(config);
    return true;
}

bool DeltacastDeviceController::saveConfiguration(const DeltacastConfig& config) {
    const auto& path = dependencies.configuration.getPersistentDeltacastConfigurationFile();
    return DeltacastConfigurationFile(path, *this).save(config);
}

void DeltacastDeviceController::checkAndApplyPendingReconfigurationRequests() {
    checkThread();
    lookAtWhatRuns();
    const auto wish = slot.take();
    if (wish.wish == DeltacastConfigurationSlot::Wish::None) {
        return;
    }
    const auto service = findServiceConfiguration();
    if (!service) {
        return;
    }
    const auto commandLine = commandLineOf(wish, *service) + " &";
    if (isKept(wish)) {
        transaction.ordered(*wish.configuration);
    }
    beginsToApply(wish);
    stopOrKillRunningService();
    if (isStopped()) {
        logInfo("Deltacast service not started again: this service stops");
        return;
    }
    launch(commandLine);
    if (isKept(wish)) {
        keepLaunched(*wish.configuration);
    }
    if (!awaitStart() && !isStopped()) {
        giveWay(wish);
        noteFailedStart();
    }
}

// A service that was never away is started by nobody else: what was ordered is due now.
void DeltacastDeviceController::lookAtWhatRuns() {
    if (getStatus() == DeltacastStatus::Running) {
        confirmFormat();
        offerInterruptedFormat();
    }
}

void DeltacastDeviceController::offerInterruptedFormat() {
    if (auto format = transaction.takeInterrupted()) {
        slot.offer({DeltacastConfigurationSlot::Wish::Configuration,
                    DeltacastConfigurationSlot::Origin::Order, std::move(format)});
    }
}

void DeltacastDeviceController::keepLaunched(const DeltacastConfig& format) {
    using Kept = CaptureFormatTransaction::Kept;
    transaction.launched(format, saveConfiguration(format) ? Kept::Yes : Kept::No);
}

void DeltacastDeviceController::giveWay(const DeltacastConfigurationSlot::Taken& failed) {
    auto instead = transaction.insteadOf(failed);
    if (instead.wish == DeltacastConfigurationSlot::Wish::None) {
        return;
    }
    const auto line = givingWay(failed, instead);
    if (slot.offer(std::move(instead))) {
        logFailure(line);
    }
}

void DeltacastDeviceController::keepWaitingFormat() {
    const auto wish = slot.take();
    if (isKept(wish)) {
        logInfo("Capture format " + nameOf(toFormat(*wish.configuration)) +
                " is kept for the next start of this service");
        transaction.ordered(*wish.configuration);
    }
}

void DeltacastDeviceController::confirmFormat() {
    const bool isSettled = transaction.state() == CaptureFormatTransaction::State::Settled;
    DeltacastConfig format;
    std::string notDescribed;
    if (!isSettled && description == Description::Current &&
        getCurrentConfig(format, notDescribed)) {
        transaction.seen(format);
    }
}

std::shared_ptr<DeltacastDeviceController::ServiceConfiguration>
DeltacastDeviceController::findServiceConfiguration() const {
    const auto& services = dependencies.configuration.getDeltacastServices();
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
    if (!dependencies.resourceManager.setDeltacastConfiguration(
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
        dependencies.runShell(commandLine);
    } catch (const std::exception& e) {
        logFailure(std::string("Failed starting Deltacast service: ") + e.what());
    }
    launched = Launch::Done;
    life = Life::Launched;
    launchedIngest.ordered(dependencies.now());
    setStatusStarting();
}

bool DeltacastDeviceController::awaitStart() {
    logInfo("Waiting at most 10 seconds for Service to start...");
    answerWithin = std::min(dependencies.answerWithin, betweenAttempts);
    const bool answers = answersInTime();
    answerWithin = dependencies.answerWithin;
    if (answers) {
        logInfo("Service reconfigured!");
        describeAgain();
        confirmFormat();
    } else if (!isStopped()) {
        logFailure("... Failed");
        setStatusUnreachable();
    }
    return answers;
}

// An attempt a second: what it takes itself counts.
bool DeltacastDeviceController::answersInTime() {
    for (int attempt = 0; attempt < startAttempts && !isStopped(); ++attempt) {
        const auto next = dependencies.now() + betweenAttempts;
        if (pingOrPoll()) {
            return true;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(next - dependencies.now());
        if (left.count() > 0) {
            dependencies.pause(left, stopFlag.get_token());
        }
    }
    return false;
}

}  // namespace tarn::service::devices
