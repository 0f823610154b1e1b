#include "service/devices/capture/DeltacastStatus.h"

#include <string>

#include "platform/utils/Log.h"
#include "platform/utils/MessageFormatter.h"

namespace tarn::service::devices {

namespace {

std::string nameOf(DeltacastStatus status) {
    switch (status) {
        case DeltacastStatus::Unreachable:
            return "Unreachable";
        case DeltacastStatus::Starting:
            return "Starting";
        case DeltacastStatus::Running:
            break;
    }
    return "Running";
}

}  // namespace

DeltacastStatusMachine::Change DeltacastStatusMachine::enter(DeltacastStatus next) {
    const auto previous = status.exchange(next);
    if (previous == next) {
        return Change::None;
    }
    utils::logInfo(formatter.formatMessage("Changing status from " + nameOf(previous) + " to " +
                                           nameOf(next)));
    return Change::Done;
}

}  // namespace tarn::service::devices
