#include "peers/device/DifferencePublisher.h"

#include <exception>
#include <utility>

#include "peers/device/EventChannel.h"
#include "platform/device_tree/DeviceNode.h"
#include "platform/device_tree/EventHelper.h"
#include "platform/utils/Log.h"
#include "proto/monitoring.pb.h"

namespace tarn::peers {

using namespace tarn::proto::monitoring;

void DifferencePublisher::described(const State& state, Time now) {
    if (told && !(*told == *state)) {
        wholeIsDue = true;
    }
    told = state;
    describedAt = now;
    phase = Phase::Settling;
}

void DifferencePublisher::pinged() {
    phase = Phase::Following;
}

void DifferencePublisher::update(const State& state, Time now) {
    using tarn::device_tree::utils::EventHelper;
    const auto extent = wholeIsDue ? EventHelper::Extent::Whole : EventHelper::Extent::Difference;
    DeviceToTarnServiceEvent event;
    State shown = state;
    if (mayTell(now) && EventHelper::ComputeEventWithinLimits(told, shown, extent, event) &&
        send(event)) {
        told = std::move(shown);
        wholeIsDue = false;
    }
}

void DifferencePublisher::shutDown(const std::string& id) {
    if (phase == Phase::Unasked) {
        return;
    }
    DeviceToTarnServiceEvent event;
    event.set_type(DeviceToTarnServiceEvent::SHUTDOWN);
    event.MutableExtension(ShutdownEvent::base)->set_device_id(id);
    send(event);
}

bool DifferencePublisher::mayTell(Time now) {
    if (phase == Phase::Settling && now - describedAt >= settlingTime) {
        phase = Phase::Following;
    }
    return phase == Phase::Following;
}

// A service that is away would otherwise be a line at every change.
bool DifferencePublisher::send(const DeviceToTarnServiceEvent& event) {
    try {
        channel.send(event);
        if (std::exchange(health, Health::Sends) == Health::Fails) {
            utils::logInfo("Events are taken again");
        }
        return true;
    } catch (const std::exception& e) {
        if (std::exchange(health, Health::Fails) == Health::Sends) {
            utils::logWarning(std::string("Cannot send an event, changes are kept: ") + e.what());
        }
        return false;
    }
}

}  // namespace tarn::peers
