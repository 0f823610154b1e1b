#include "service/devices/DeviceEventListener.h"

#include <utility>

#include "platform/device_tree/DeviceNode.h"
#include "proto/monitoring.pb.h"
#include "service/devices/DeviceManager.h"

namespace tarn::service::devices {

using tarn::device_tree::DeviceNode;
using tarn::proto::monitoring::ConfigurationChangeEvent;
using tarn::proto::monitoring::DeviceAddEvent;
using tarn::proto::monitoring::DeviceRemoveEvent;
using tarn::proto::monitoring::DeviceToTarnServiceEvent;
using tarn::proto::monitoring::ShutdownEvent;
using tarn::proto::monitoring::StatusChangeEvent;

namespace {

constexpr auto listenerName = "DeviceEventListener";
constexpr std::uint32_t largestEvent = 0xA00000;

}  // namespace

DeviceEventListener::DeviceEventListener(ManagerAccess manager)
    : SocketListener(tarn::socket::Protocol::Pull, listenerName), manager(std::move(manager)) {
    maxMessageSize = largestEvent;
}

DeviceEventListener::~DeviceEventListener() {
    std::string error;
    SocketListener::stop(error);
}

tarn::socket::SocketEndpoint DeviceEventListener::GetInternalEventEndpoint() {
    return {tarn::socket::Transport::InProcess, listenerName, 0};
}

// Adding an endpoint that is there already changes nothing.
bool DeviceEventListener::start(std::string& error) {
    const auto internal = GetInternalEventEndpoint().toString(tarn::socket::Protocol::None);
    return addListenEndpoint(internal, error) && SocketListener::start(error);
}

std::shared_ptr<google::protobuf::Message> DeviceEventListener::getBaseMessage() {
    return std::make_shared<DeviceToTarnServiceEvent>();
}

void DeviceEventListener::handleMessage(std::shared_ptr<google::protobuf::Message> message,
                                        std::shared_ptr<tarn::socket::Socket>) {
    const auto* event = dynamic_cast<const DeviceToTarnServiceEvent*>(message.get());
    if (event == nullptr) {
        return;
    }
    switch (event->type()) {
        case DeviceToTarnServiceEvent::STATUS_CHANGE:
            return handleStatusChange(*event);
        case DeviceToTarnServiceEvent::CONFIGURATION_CHANGE:
            return handleConfigurationChange(*event);
        case DeviceToTarnServiceEvent::SHUTDOWN:
            return handleShutdown(*event);
        case DeviceToTarnServiceEvent::DEVICE_ADD:
            return handleDeviceAdd(*event);
        case DeviceToTarnServiceEvent::DEVICE_REMOVE:
            return handleDeviceRemove(*event);
        default:
            return;
    }
}

void DeviceEventListener::handleStatusChange(const Event& event) {
    const auto& changes = event.GetExtension(StatusChangeEvent::base);
    DeviceManager::GlobalStatusChanges globals;
    for (const auto& change : changes.global_status_changes()) {
        globals.emplace_back(change.device_id(), device_tree::GlobalStatus(change.status()));
    }
    DeviceManager::NamedStatusChanges named;
    for (const auto& change : changes.named_status_changes()) {
        named.emplace_back(change.device_id(), device_tree::NamedStatus(change.status()));
    }
    manager().handleStatusChangeEvent(globals, named);
}

void DeviceEventListener::handleConfigurationChange(const Event& event) {
    const auto& change = event.GetExtension(ConfigurationChangeEvent::base);
    manager().handleConfigurationChangeEvent(DeviceNode(change.device()));
}

void DeviceEventListener::handleShutdown(const Event& event) {
    manager().handleShutdownEvent(event.GetExtension(ShutdownEvent::base).device_id());
}

void DeviceEventListener::handleDeviceAdd(const Event& event) {
    manager().handleDeviceAddEvent(DeviceNode(event.GetExtension(DeviceAddEvent::base).device()));
}

void DeviceEventListener::handleDeviceRemove(const Event& event) {
    manager().handleDeviceRemoveEvent(event.GetExtension(DeviceRemoveEvent::base).device_id());
}

}  // namespace tarn::service::devices
