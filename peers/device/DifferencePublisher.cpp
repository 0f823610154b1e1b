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
    DeviceToTarnServiceEvent event;
    if (mayTell(now) && makeEvent(state, event) && send(event)) {
        told = state;
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

bool DifferencePublisher::makeEvent(const State& state, DeviceToTarnServiceEvent& event) {
    if (!wholeIsDue) {
        return tarn::device_tree::utils::EventHelper::ComputeEvent(told, state, event);
    }
    event.set_type(DeviceToTarnServiceEvent::CONFIGURATION_CHANGE);
    *event.MutableExtension(ConfigurationChangeEvent::base)->mutable_device() = state->toProtoBuf();
    return true;
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
