// How the controller notices that the ingest service is gone, shows that, and starts it again. The
// life of the process, as the management thread knows it:
//
//     Unknown --answers, and is identified--> Runs --its end is noticed--> Ended
//     any --told to stop--> Stopped --launched--> Launched --answers--> Runs
//
// While it Runs, the cycle waits on the process itself; in every other state the tree shows what it
// said last, in error, with the state as the reason.
#include <algorithm>
#include <exception>
#include <utility>

#include "platform/device_tree/DeviceNode.h"
#include "proto/deltacast_configuration.pb.h"
#include "service/configuration/ConfigurationHandler.h"
#include "service/devices/capture/DeltacastConfigurationFile.h"
#include "service/devices/capture/DeltacastDeviceController.h"
#include "service/devices/capture/ProcessControl.h"

namespace tarn::service::devices {

using device_tree::DeviceNode;
using device_tree::GlobalStatus;
using std::chrono::milliseconds;

namespace {

constexpr milliseconds cycle{500};

// What the process said of itself last, with every node of it in error: a channel of one that is
// not there captures nothing either.
DeviceNode shownInError(DeviceNode described, const std::string& reason) {
    described.setGlobalStatus(GlobalStatus(GlobalStatus::Level::Error, reason));
    for (auto& part : described.getSubDevices()) {
        std::string none;
        described.addSubDevice(std::make_shared<DeviceNode>(shownInError(std::move(part), reason)),
                               /*replace=*/true, none);
    }
    return described;
}

}  // namespace

// It answers, and this is the process that does.
void DeltacastDeviceController::noteRunning(const os::ProcessIdentity& running) {
    const auto now = dependencies.now();
    launchedIngest.showedItself(running, now);
    if (std::exchange(life, Life::Runs) == Life::Runs && living == running) {
        return;
    }
    living = running;
    launchedIngest.is(running) ? restart.runs(now) : restart.giveUp();
}

bool DeltacastDeviceController::noticeEnd() {
    if (life != Life::Runs || !process.hasEnded()) {
        return false;
    }
    life = Life::Ended;
    disconnectFromService();  // whoever answers next is another one
    showOutage();
    if (const auto delay = restart.ended(dependencies.now())) {
        announceRestart(*delay);
    }
    return true;
}

void DeltacastDeviceController::announceRestart(milliseconds delay) const {
    logInfo("KLN-SDI-Ingest-Service is started again in " + std::to_string(delay.count()) + " ms");
}

// A client's order takes the place of whatever was to be started again.
void DeltacastDeviceController::beginsToApply(const DeltacastConfigurationSlot::Taken& wish) {
    if (wish.origin != DeltacastConfigurationSlot::Origin::Restart) {
        restart.giveUp();
    }
    inForce = wish.copy();
}

void DeltacastDeviceController::noteFailedStart() {
    if (const auto delay = restart.failed(dependencies.now())) {
        announceRestart(*delay);
    }
}

// What a client has ordered meanwhile goes first.
void DeltacastDeviceController::orderRestartWhenDue() {
    if (!isStopped() && restart.takeDue(dependencies.now()) && !slot.offer(wishForRestart())) {
        restart.giveUp();
    }
}

// One that a service before this one launched is started as at the start of a service.
DeltacastConfigurationSlot::Taken DeltacastDeviceController::wishForRestart() const {
    using Wish = DeltacastConfigurationSlot::Wish;
    auto wish = inForce.copy();
    if (wish.wish == Wish::None) {
        const auto& path = dependencies.configuration.getPersistentDeltacastConfigurationFile();
        auto kept = std::make_unique<DeltacastConfig>();
        const bool isKept = !path.empty() && DeltacastConfigurationFile(path, *this).load(*kept);
        wish.wish = isKept ? Wish::Configuration : Wish::Defaults;
        wish.configuration = isKept ? std::move(kept) : nullptr;
    }
    wish.origin = DeltacastConfigurationSlot::Origin::Restart;
    return wish;
}

// The end of the process that runs cuts it short.
void DeltacastDeviceController::pauseForCycle(const std::stop_token& stop) const {
    const auto length =
        std::min(cycle, restart.left(dependencies.now()).value_or(milliseconds::max()));
    if (life == Life::Runs) {
        dependencies.processes.awaitEnd(living, length, stop);
    } else {
        dependencies.pause(length, stop);
    }
}

std::string DeltacastDeviceController::reasonOfOutage() const {
    switch (life) {
        case Life::Ended:
            return "KLN-SDI-Ingest-Service has ended";
        case Life::Stopped:
            return "KLN-SDI-Ingest-Service is told to stop";
        case Life::Launched:
            return "KLN-SDI-Ingest-Service was started and does not answer yet";
        case Life::Unknown:
        case Life::Runs:
            break;
    }
    return "KLN-SDI-Ingest-Service does not answer";
}

// What is stored stays as it is. Events that the process sent before it was gone may still arrive
// and say otherwise: then the next cycle tells it once more.
void DeltacastDeviceController::showOutage() {
    const auto reason = reasonOfOutage();
    if (isStopped() || !getServiceDeviceTree() || *outage.lock() == reason) {
        return;
    }
    *outage.lock() = reason;
    tellOutage();
    outageIsToldAgain = events.isNamed();
}

void DeltacastDeviceController::tellOutage() {
    if (events.isNamed()) {
        publisher.tellAllNext();
    }
    const auto described = getServiceDeviceTree();
    publisher.updateDeviceTree(std::make_shared<DeviceNode>(shownInError(*described, getOutage())));
}

void DeltacastDeviceController::remindOfOutage() {
    if (getOutage().empty()) {
        return;
    }
    if (std::exchange(outageIsToldAgain, false)) {
        tellOutage();
    } else {
        publisher.sendWhatIsLeft();
    }
}

void DeltacastDeviceController::endOutage() {
    outage.lock()->clear();
    outageIsToldAgain = false;
}

std::string DeltacastDeviceController::getOutage() {
    return *outage.lock();
}

}  // namespace tarn::service::devices
