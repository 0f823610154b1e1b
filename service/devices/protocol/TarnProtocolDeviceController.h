#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>

#include "platform/socket/SocketEndpoint.h"
#include "proto/monitoring.fwd.h"
#include "service/devices/ControllerThread.h"
#include "service/devices/DeviceController.h"
#include "service/devices/DevicePublisher.h"
#include "service/devices/Pause.h"
#include "service/devices/protocol/DeviceRequestSocket.h"
#include "service/devices/protocol/EventEndpointRules.h"
#include "service/devices/protocol/NamedEventEndpoint.h"

namespace tarn::service::devices {

class DeviceEventListener;
class DevicePresence;
struct Refusal;

/// Watches a device that speaks the monitoring protocol, on a thread of its own.
///
///     Disconnected, Refused --described itself, names an event endpoint--> Pinged
///     Disconnected, Refused --described itself, names none---------------> Polled
///     any --described itself too deep or too large (DeviceDoor.h)--------> Refused
///     Pinged, Polled, Refused --no answer, or a wrong one----------------> Disconnected
///
/// A Pinged device tells its changes itself: the service listens on its event endpoint, asks every
/// 3 s whether it is alive, and does not read its description again. A Polled one is asked for its
/// description every second; so is one whose event endpoint is none that the service listens on
/// (EventEndpointRules). A Refused one is in the tree as a device in error, and is asked again
/// every second. A Pinged one of which an event was refused describes itself again. A Disconnected
/// one is not in the device tree; the connection is tried every second.
///
/// Besides the thread, anybody may call start, stop, wait and sendStop.
class TarnProtocolDeviceController : public DeviceController {
  public:
    struct Dependencies {
        DeviceEventListener& listener;  ///< must outlive the controller
        Pause pause = realPause;
        std::chrono::milliseconds answerWithin = std::chrono::seconds(5);
        DevicePresence* presence = nullptr;  ///< of all devices; outlives the controller
        EventEndpointRules eventEndpoints = EventEndpointRules();
    };

    /// Starts watching. When that cannot be set up (a bad endpoint) it is logged, and the
    /// controller stays without a thread.
    TarnProtocolDeviceController(const std::string& endpoint, Dependencies dependencies);
    ~TarnProtocolDeviceController() override;  ///< stops

    std::string messageHeader() const override;

    /// Ends the thread and closes the connection; the device stays in the tree as it was. At once,
    /// but for a connection that is being made (half a second at most) and a request that the
    /// device's machine does not take (5 s at most).
    void stop() override;

    /// For controllers that can start and stop their device's process: called when the first
    /// attempt to connect has failed. False with the reason in `error`. Here they do nothing and
    /// succeed.
    virtual bool startService(std::string& error);
    virtual bool stopService(std::string& error);

    /// Stops a thread that runs already.
    void startIsAliveThread();
    void stopIsAliveThread();

    /// Waits until the device has been connected (true), or its service could not be started or the
    /// watching ended (false). There is no other bound.
    bool waitForDeviceStarted();

    /// Tells the device to stop. False, with the reason in `error`, when it did not acknowledge;
    /// takes as long as one exchange, and the one in progress. Any thread.
    bool sendStop(std::string& error);

  protected:
    struct StartLater {};

    /// For derived classes, which call startIsAliveThread when they are complete, and
    /// stopIsAliveThread before they are not.
    TarnProtocolDeviceController(const std::string& endpoint, Dependencies dependencies,
                                 StartLater);

  private:
    using Request = DeviceRequestSocket::Request;
    using Reply = DeviceRequestSocket::Reply;
    using GetDescriptionReply = tarn::proto::monitoring::GetDescriptionReply;

    enum class Link { Disconnected, Polled, Pinged, Refused };
    enum class Start { Pending, Started, Finished };

    void reportFailedSetup(const std::string& reason);

    void isAliveThreadFunction(const std::stop_token& stop);
    void watch(const std::stop_token& stop);
    void watchOnce(const std::stop_token& stop);
    void connectAndDescribe(const std::stop_token& stop);
    bool connect();
    void startMissingService();

    void requestDeviceProperties();
    void pollDevice();
    void pingDevice();
    std::unique_ptr<GetDescriptionReply> askDescription();
    bool listenToEvents(const GetDescriptionReply& description);
    std::string objectionTo(const std::string& eventEndpoint) const;
    void poll();
    void describeAnewIfDue();

    void updateDeviceTree(const std::shared_ptr<device_tree::DeviceNode>& node);
    void publish(const tarn::proto::monitoring::DeviceNode& device);
    void showRefused(const Refusal& refusal);
    void lose(const std::string& reason);
    void withdraw();
    void notePresent(const std::string& id);
    void noteLost();
    void removeGhost();
    void report(Start outcome);

    const Dependencies dependencies;
    std::string endpointText;
    socket::SocketEndpoint deviceEndpoint;
    std::optional<DeviceRequestSocket> requests;  // empty when the set-up failed

    // The is-alive thread's own:
    Link link = Link::Disconnected;
    NamedEventEndpoint events;
    DevicePublisher publisher;
    std::string deviceId;    // as it was told last; empty while it never was
    bool isPresent = false;  // with that id

    std::mutex startMutex;
    std::condition_variable startCondition;
    Start start = Start::Pending;  // guarded by startMutex

    ControllerThread isAliveThread;  // last: it uses the others
};

}  // namespace tarn::service::devices
