#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

#include "platform/socket/SocketEndpoint.h"
#include "platform/utils/Synchronised.h"
#include "service/devices/ControllerThread.h"
#include "service/devices/DeviceController.h"
#include "service/devices/DevicePublisher.h"
#include "service/devices/Pause.h"
#include "service/devices/capture/CaptureFormatTransaction.h"
#include "service/devices/capture/DeltacastConfigurationSlot.h"
#include "service/devices/capture/DeltacastRestart.h"
#include "service/devices/capture/DeltacastServiceProcess.h"
#include "service/devices/capture/DeltacastStatus.h"
#include "service/devices/capture/LaunchedIngest.h"
#include "service/devices/protocol/DeviceRequestSocket.h"
#include "service/devices/protocol/EventEndpointRules.h"
#include "service/devices/protocol/NamedEventEndpoint.h"

namespace tarn::resource_manager {
class ResourceManagerProxy;
}
namespace tarn::service::configuration {
class ConfigurationHandler;
class DeltacastServiceConfigurationHandler;
}  // namespace tarn::service::configuration

namespace tarn::service::devices {

class DeviceEventListener;
class ProcessControl;
struct Refusal;

/// Supervises the one process that owns the capture cards: watches it, publishes its description,
/// and restarts it with another capture format. DeltacastStatus has the model of its status.
///
/// All of that is work of the management thread, in a cycle of 500 ms: a format that waits to be
/// applied, then a look at the process. A process that names an event endpoint is pinged and tells
/// its changes itself; any other is asked for its description. Whenever it answers again after it
/// did not, or was launched anew, it is asked for its description once. One whose description is
/// too deep or too large (DeviceDoor.h) is in the tree as a device in error, and asked again.
///
/// One that does not answer, or has ended, is in the tree in error, as what it said of itself last.
/// If it has ended by itself and was launched here, it is started again (DeltacastRestart.h) with
/// the format that it had, on the road of any other format.
///
/// Other threads may ask for the status, the description and the format in force, leave a format to
/// be applied, wait, and stop. Nothing throws; what fails is logged.
class DeltacastDeviceController : public DeviceController {
  public:
    using DeltacastConfig = tarn::proto::deltacast_configuration::DeltacastConfig;

    /// The references must outlive the controller.
    struct Dependencies {
        DeviceEventListener& listener;
        const configuration::ConfigurationHandler& configuration;
        resource_manager::ResourceManagerProxy& resourceManager;
        ProcessControl& processes;
        std::function<void(const std::string& command)> runShell;
        Pause pause = realPause;
        std::function<std::chrono::steady_clock::time_point()> now = std::chrono::steady_clock::now;
        std::chrono::milliseconds answerWithin = std::chrono::seconds(5);
        std::string launchRecord = {};  ///< the file of LaunchedIngest
    };

    /// Starts to watch. When that cannot be set up (a bad endpoint) it is logged, and the
    /// controller stays without a thread.
    DeltacastDeviceController(const std::string& monitoringInterface, Dependencies dependencies);
    ~DeltacastDeviceController() override;  ///< stops

    std::string messageHeader() const override;

    /// For good. At once, but for a connection that is being made (half a second at most) and a
    /// shell that is launching the process (10 s at most). The process runs on.
    void stop() override;

    DeltacastStatus getStatus() const { return status.current(); }

    /// Looks once a second whether the process is running: true as soon as it is; false when it was
    /// not at `timeoutSeconds` looks, or the controller is stopped. 0 waits without limit.
    bool waitForDeviceStarted(std::uint32_t timeoutSeconds);

    /// The same for callers that have something else to wait for: `pause` lets the time pass and
    /// returns true when the waiting is to be given up.
    using InterruptiblePause = std::function<bool(std::chrono::milliseconds)>;
    bool waitForDeviceStarted(std::uint32_t timeoutSeconds, const InterruptiblePause& pause);

    /// The last description; null when there never was one. It stays when the process is gone.
    std::shared_ptr<device_tree::DeviceNode> getServiceDeviceTree();

    /// Why the process is shown in error; empty while it answers, and when it never did.
    std::string getOutage();

    /// The process id that the description tells; 0 when it tells none.
    int getDeltacastServicePid();

    /// Has the process restarted with this format in the next cycle. Of several, only the last
    /// counts.
    void configure(const DeltacastConfig& config);

    /// The same with the format of the configuration file, or of a file that saveConfiguration
    /// wrote. False when there is no such file, or none that can be used.
    bool applyDefaultConfiguration();
    bool applyConfigurationFile(const std::string& path);

    /// Into the persistent file; a crash leaves the old content or the new one.
    bool saveConfiguration(const DeltacastConfig& config);

    /// The format that is in force by the last description. False with the reason in `error`.
    bool getCurrentConfig(DeltacastConfig& config, std::string& error);

    // Work of the management thread, which logs when another one does it.
    bool connectToServiceIfNeeded();
    void disconnectFromService();
    bool pingService();
    bool pollService();
    bool requestDeviceProperties();
    bool sendStop(std::string& error);
    void stopOrKillRunningService();
    void monitorDevice();
    void checkAndApplyPendingReconfigurationRequests();
    void deviceManagementThreadFunction();

  private:
    using Request = DeviceRequestSocket::Request;
    using Reply = DeviceRequestSocket::Reply;
    using ServiceConfiguration = configuration::DeltacastServiceConfigurationHandler;

    void setUp(const std::string& monitoringInterface);
    void checkThread() const;
    void guarded(const std::function<void()>& work) const;
    bool isStopped() const { return stopFlag.stop_requested(); }
    void logInfo(const std::string& text) const;
    bool logFailure(const std::string& text) const;

    void setStatusUnreachable();
    void setStatusStarting();
    void setStatusRunning();

    std::optional<Reply> ask(const Request& request);
    std::optional<Reply> askDescription();
    bool isOfType(const Reply& reply, int type, const std::string& otherwise) const;
    bool pingOrPoll();
    bool listenToEvents(const std::string& endpoint);
    std::string objectionTo(const std::string& endpoint) const;
    bool showRefused(const Refusal& refusal);
    void showAdmitted();
    std::string serviceId();
    void updateDeviceTree(const std::shared_ptr<device_tree::DeviceNode>& node);
    void describeAgain();

    void noteRunning(const os::ProcessIdentity& running);
    bool noticeEnd();
    void beginsToApply(const DeltacastConfigurationSlot::Taken& wish);
    void noteFailedStart();
    void announceRestart(std::chrono::milliseconds delay) const;
    void orderRestartWhenDue();
    DeltacastConfigurationSlot::Taken wishForRestart() const;
    void pauseForCycle(const std::stop_token& stop) const;
    std::string reasonOfOutage() const;
    void showOutage();
    void tellOutage();
    void remindOfOutage();
    void endOutage();

    std::shared_ptr<ServiceConfiguration> findServiceConfiguration() const;
    std::string commandLineOf(const DeltacastConfigurationSlot::Taken& wish,
                              const ServiceConfiguration& service);
    std::string commandLineFor(const DeltacastConfig& config, const ServiceConfiguration& service);
    void launch(const std::string& commandLine);
    bool awaitStart();
    void lookAtWhatRuns();
    void offerInterruptedFormat();
    void keepLaunched(const DeltacastConfig& format);
    void keepWaitingFormat();
    void giveWay(const DeltacastConfigurationSlot::Taken& failed);
    void confirmFormat();
    bool answersInTime();

    const Dependencies dependencies;
    std::string endpointText;
    socket::SocketEndpoint monitoringEndpoint;
    std::stop_source stopFlag;
    std::optional<DeviceRequestSocket> requests;  // empty when the set-up failed
    DeltacastStatusMachine status;
    DeltacastConfigurationSlot slot;
    utils::Synchronised<std::shared_ptr<device_tree::DeviceNode>> serviceNode;
    utils::Synchronised<std::string> outage;  // as the tree shows it; empty: none
    std::atomic<std::thread::id> managementThreadId;

    // The management thread's own:
    enum class Link { Down, Up };
    enum class Description { Current, Outdated, Refused };
    Link link = Link::Down;
    Description description = Description::Outdated;
    enum class Launch { None, Done };
    Launch launched = Launch::None;
    enum class Life { Unknown, Runs, Ended, Stopped, Launched };
    Life life = Life::Unknown;                  // of the process
    os::ProcessIdentity living;                 // that runs, or ran last
    DeltacastConfigurationSlot::Taken inForce;  // what was launched last
    LaunchedIngest launchedIngest;
    DeltacastRestart restart;
    bool outageIsToldAgain = false;
    std::chrono::milliseconds answerWithin;
    const EventEndpointRules eventEndpoints;
    NamedEventEndpoint events;
    DevicePublisher publisher;
    DeltacastServiceProcess process;
    CaptureFormatTransaction transaction;

    ControllerThread managementThread;  // last: it uses the others
};

}  // namespace tarn::service::devices
