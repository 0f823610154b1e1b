#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/socket/SocketEndpoint.h"
#include "platform/socket/SocketListener.h"

namespace tarn::proto::monitoring {
class DeviceToTarnServiceEvent;
}

namespace tarn::service::devices {

class DeviceManager;

/// Receives the events of all devices, from the controllers and from devices that send their own,
/// and hands them to the device manager one after the other: its thread is the only one that
/// changes the device tree. Threads and errors are those of SocketListener.
class DeviceEventListener : public tarn::socket::utils::SocketListener {
  public:
    /// Asked at each event, since the manager and its listener know each other. The manager must
    /// live until the listener is stopped.
    using ManagerAccess = std::function<DeviceManager&()>;

    explicit DeviceEventListener(ManagerAccess manager);
    ~DeviceEventListener() override;  ///< stops

    /// Where the controllers send their events, inside the process.
    static tarn::socket::SocketEndpoint GetInternalEventEndpoint();

    /// Listens on the internal endpoint as well.
    bool start(std::string& error) override;

    std::shared_ptr<google::protobuf::Message> getBaseMessage() override;

    /// Nothing is answered. What is no known event is ignored.
    void handleMessage(std::shared_ptr<google::protobuf::Message> message,
                       std::shared_ptr<tarn::socket::Socket> socket) override;

  private:
    using Event = tarn::proto::monitoring::DeviceToTarnServiceEvent;

    void handleStatusChange(const Event& event);
    void handleConfigurationChange(const Event& event);
    void handleShutdown(const Event& event);
    void handleDeviceAdd(const Event& event);
    void handleDeviceRemove(const Event& event);

    const ManagerAccess manager;
};

/// The process's listener; created on first use, destroyed at exit.
DeviceEventListener& GetDeviceEventListener();

}  // namespace tarn::service::devices
