#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "platform/socket/SocketEndpoint.h"
#include "platform/socket/SocketListener.h"
#include "platform/utils/Synchronised.h"
#include "proto/monitoring.fwd.h"
#include "service/devices/RefusedDevices.h"

namespace tarn::service::devices {

class DeviceManager;
struct Refusal;

/// Receives the events of all devices, from the controllers and from devices that send their own,
/// and hands them to the device manager one after the other: its thread is the only one that
/// changes the device tree. Threads and errors are those of SocketListener.
class DeviceEventListener : public tarn::socket::utils::SocketListener {
  public:
    /// Asked at each event, since the manager and its listener know each other. The manager must
    /// live until the listener is stopped.
    using ManagerAccess = std::function<DeviceManager&()>;

    explicit DeviceEventListener(ManagerAccess manager,
                                 RefusedDevices::Clock now = std::chrono::steady_clock::now);
    ~DeviceEventListener() override;  ///< stops

    /// Where the controllers send their events, inside the process.
    static tarn::socket::SocketEndpoint GetInternalEventEndpoint();

    /// Listens on the internal endpoint as well.
    bool start(std::string& error) override;

    /// Adds the event endpoint of one device more, or takes one away: the endpoint is listened to
    /// until as many were taken away as were added. False, and nothing added, with the reason in
    /// `error` when the service cannot listen there. See NamedEventEndpoint.
    bool listenFor(const std::string& endpoint, std::string& error);
    void releaseOne(const std::string& endpoint);

    /// Whether an event of the device was refused a while ago, and all of the device was not told
    /// since: what the tree holds of it has to be asked for anew.
    bool isToBeDescribedAnew(const std::string& deviceId) { return refused.isDue(deviceId); }

    std::shared_ptr<google::protobuf::Message> getBaseMessage() override;

    /// Nothing is answered. What is no known event is ignored.
    void handleMessage(std::shared_ptr<google::protobuf::Message> message,
                       std::shared_ptr<tarn::socket::Socket> socket) override;

  protected:
    /// Keeps out what nobody could read (DeviceDoor.h): the device is logged, once, and shown in
    /// error until all of it is told again.
    bool admits(std::string_view bytes) override;

  private:
    using Event = tarn::proto::monitoring::DeviceToTarnServiceEvent;

    void refuse(const Refusal& refusal);
    void handleStatusChange(const Event& event);
    void handleConfigurationChange(const Event& event);
    void handleShutdown(const Event& event);
    void handleDeviceAdd(const Event& event);
    void handleDeviceRemove(const Event& event);

    const ManagerAccess manager;
    RefusedDevices refused;
    // Held while the listener binds or unbinds, for which its thread does not need it.
    utils::Synchronised<std::map<std::string, unsigned>>
        deviceEndpoints;  // how often each is named
};

/// The process's listener; created on first use, destroyed at exit.
DeviceEventListener& GetDeviceEventListener();

}  // namespace tarn::service::devices
