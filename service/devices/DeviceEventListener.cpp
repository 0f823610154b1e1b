#include "service/devices/DeviceEventListener.h"

#include <utility>

#include "platform/device_tree/DeviceLimits.h"
#include "platform/device_tree/DeviceNode.h"
#include "platform/utils/Log.h"
#include "proto/monitoring.pb.h"
#include "service/devices/DeviceDoor.h"
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
constexpr std::uint32_t largestMessage = 0xA00000;

std::shared_ptr<DeviceNode> deviceWith(const std::string& nodeId, const DeviceNode& tree) {
    if (auto device = tree.getSubDevice(nodeId)) {
        return device;
    }
    for (const auto& device : tree.getSubDevices()) {
        if (device.getDeviceById(nodeId)) {
            return std::make_shared<DeviceNode>(device);
        }
    }
    return nullptr;
}

// Null where the event says nothing of a device that is in the tree, or is to be.
std::shared_ptr<DeviceNode> shownFor(const Refusal& refusal, const DeviceNode& tree) {
    using Kind = device_tree::DeviceOutline::Kind;
    switch (refusal.device.kind) {
        case Kind::Whole:
            return std::make_shared<DeviceNode>(refusal.shown());
        case Kind::Statuses:
            if (const auto device = deviceWith(refusal.device.id, tree)) {
                return std::make_shared<DeviceNode>(
                    device_tree::refusedDevice(device_tree::outlineOf(*device), refusal.reason));
            }
            break;
        case Kind::None:
            break;
    }
    return nullptr;
}

}  // namespace

DeviceEventListener::DeviceEventListener(ManagerAccess manager, RefusedDevices::Clock now)
    : SocketListener(tarn::socket::Protocol::Pull, listenerName),
      manager(std::move(manager)),
      refused(std::move(now)) {
    maxMessageSize = largestMessage;
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

bool DeviceEventListener::listenFor(const std::string& endpoint, std::string& error) {
    auto named = deviceEndpoints.lock();
    if (!named->contains(endpoint) && !addListenEndpoint(endpoint, error)) {
        return false;
    }
    ++(*named)[endpoint];
    return true;
}

void DeviceEventListener::releaseOne(const std::string& endpoint) {
    auto named = deviceEndpoints.lock();
    const auto found = named->find(endpoint);
    if (found == named->end() || --found->second > 0) {
        return;
    }
    named->erase(found);
    std::string error;
    if (!removeListenEndpoint(endpoint, error)) {
        utils::logError(formatMessage("Failed unbinding an event endpoint: " + error));
    }
}

bool DeviceEventListener::admits(std::string_view bytes) {
    const auto refusal = refusalOfEvent(bytes);
    if (refusal) {
        refuse(*refusal);
    }
    return !refusal;
}

void DeviceEventListener::refuse(const Refusal& refusal) {
    const auto tree = *manager().getTree().lock();
    const auto shown = shownFor(refusal, tree);
    if (refused.takeLine(shown ? shown->getId() : std::string())) {
        utils::logError(formatMessage(refusal.line()));
    }
    if (!shown || refused.add(shown->getId()) == RefusedDevices::Before::Refused) {
        return;
    }
    if (tree.getSubDevice(shown->getId())) {
        manager().handleConfigurationChangeEvent(*shown);
    } else {
        manager().handleDeviceAddEvent(*shown);
    }
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
    const bool nobodyIsRefused = refused.isEmpty();
    DeviceManager::GlobalStatusChanges globals;
    for (const auto& change : changes.global_status_changes()) {
        if (nobodyIsRefused || !refused.contains(change.device_id())) {
            globals.emplace_back(change.device_id(), device_tree::GlobalStatus(change.status()));
        }
    }
    DeviceManager::NamedStatusChanges named;
    for (const auto& change : changes.named_status_changes()) {
        if (nobodyIsRefused || !refused.contains(change.device_id())) {
            named.emplace_back(change.device_id(), device_tree::NamedStatus(change.status()));
        }
    }
    manager().handleStatusChangeEvent(globals, named);
}

void DeviceEventListener::handleConfigurationChange(const Event& event) {
    const auto& device = event.GetExtension(ConfigurationChangeEvent::base).device();
    refused.remove(device.id());
    manager().handleConfigurationChangeEvent(DeviceNode(device));
}

void DeviceEventListener::handleShutdown(const Event& event) {
    const auto& id = event.GetExtension(ShutdownEvent::base).device_id();
    refused.remove(id);
    manager().handleShutdownEvent(id);
}

void DeviceEventListener::handleDeviceAdd(const Event& event) {
    const auto& device = event.GetExtension(DeviceAddEvent::base).device();
    refused.remove(device.id());
    manager().handleDeviceAddEvent(DeviceNode(device));
}

void DeviceEventListener::handleDeviceRemove(const Event& event) {
    const auto& id = event.GetExtension(DeviceRemoveEvent::base).device_id();
    refused.remove(id);
    manager().handleDeviceRemoveEvent(id);
}

}  // namespace tarn::service::devices
