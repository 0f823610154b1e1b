#include "service/devices/capture/DeltacastDeviceController.h"

#include <charconv>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "platform/device_tree/DeviceNode.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"
#include "proto/deltacast_configuration.pb.h"
#include "proto/monitoring.pb.h"
#include "service/configuration/ConfigurationHandler.h"
#include "service/devices/DeviceEventListener.h"
#include "service/devices/capture/DeltacastFormat.h"

namespace tarn::service::devices {

using device_tree::DeviceNode;
using tarn::proto::monitoring::ControlRequest;

namespace {

constexpr std::chrono::seconds betweenLooks{1};

DeviceRequestSocket::Request makeRequest(DeviceRequestSocket::Request::Type type) {
    DeviceRequestSocket::Request request;
    request.set_type(type);
    return request;
}

// Ids up to 1 are no process of anybody's: as the argument of kill they would mean many.
int processIdOf(const DeviceNode* node) {
    const auto* const property = node != nullptr ? node->getProperty("PID") : nullptr;
    if (property == nullptr) {
        throw std::invalid_argument("there is none");
    }
    const auto& text = property->value;
    const auto* const end = text.data() + text.size();
    int id = 0;
    const auto result = std::from_chars(text.data(), end, id);
    if (result.ec != std::errc() || result.ptr != end || id <= 1) {
        throw std::invalid_argument(utils::quotedText(text) + " is no process id");
    }
    return id;
}

}  // namespace

DeltacastDeviceController::DeltacastDeviceController(const std::string& monitoringInterface,
                                                     Dependencies given)
    : dependencies(std::move(given)),
      endpointText(monitoringInterface),
      status(*this),
      slot(*this),
      launchedIngest(dependencies.launchRecord, *this),
      answerWithin(dependencies.answerWithin),
      eventEndpoints(EventEndpointRules::of(dependencies.configuration)),
      events(dependencies.listener),
      publisher(notifyEvent),
      process(*this, dependencies.processes, dependencies.pause),
      transaction(dependencies.configuration.getPersistentDeltacastConfigurationFile(), *this) {
    try {
        setUp(monitoringInterface);
    } catch (const std::exception& e) {
        logFailure(std::string("Error in Device Controller setup: ") + e.what());
    }
}

DeltacastDeviceController::~DeltacastDeviceController() {
    DeltacastDeviceController::stop();
    guarded([this] { keepWaitingFormat(); });  // of clients that were answered meanwhile
}

void DeltacastDeviceController::setUp(const std::string& monitoringInterface) {
    monitoringEndpoint = socket::SocketEndpoint::FromString(monitoringInterface);
    endpointText = monitoringEndpoint.toString(socket::Protocol::None);
    requests.emplace("Deltacast request socket", dependencies.answerWithin);
    managementThread.start([this](const std::stop_token&) { deviceManagementThreadFunction(); });
}

std::string DeltacastDeviceController::messageHeader() const {
    return "DeltacastDeviceController on " + endpointText;
}

void DeltacastDeviceController::stop() {
    stopFlag.request_stop();
    try {
        managementThread.stop();
    } catch (const std::system_error& e) {
        logFailure(std::string("Failed joining management thread: ") + e.what());
    }
}

bool DeltacastDeviceController::waitForDeviceStarted(std::uint32_t timeoutSeconds) {
    return waitForDeviceStarted(timeoutSeconds, [this](std::chrono::milliseconds duration) {
        dependencies.pause(duration, stopFlag.get_token());
        return false;
    });
}

bool DeltacastDeviceController::waitForDeviceStarted(std::uint32_t timeoutSeconds,
                                                     const InterruptiblePause& pause) {
    const auto isRunning = [this] { return getStatus() == DeltacastStatus::Running; };
    for (std::uint32_t looks = 0; timeoutSeconds == 0 || looks < timeoutSeconds; ++looks) {
        if (isRunning() || isStopped() || pause(betweenLooks)) {
            break;
        }
    }
    return isRunning();
}

std::shared_ptr<DeviceNode> DeltacastDeviceController::getServiceDeviceTree() {
    const auto stored = *serviceNode.lock();
    return stored ? std::make_shared<DeviceNode>(*stored) : nullptr;
}

int DeltacastDeviceController::getDeltacastServicePid() {
    try {
        return processIdOf(getServiceDeviceTree().get());
    } catch (const std::invalid_argument& e) {
        utils::logWarning(
            formatMessage(std::string("Failed reading PID in properties: ") + e.what()));
        return 0;
    }
}

bool DeltacastDeviceController::getCurrentConfig(DeltacastConfig& config, std::string& error) {
    const auto node = getServiceDeviceTree();
    if (!node) {
        error = "No device";
        return false;
    }
    return readDeltacastConfig(*node, config, error);
}

void DeltacastDeviceController::deviceManagementThreadFunction() {
    managementThreadId = std::this_thread::get_id();
    const auto stop = stopFlag.get_token();
    const std::stop_callback interrupting(stop, [this] { requests->interrupt(); });
    setStatusUnreachable();
    guarded([this] { requestDeviceProperties(); });
    while (!stop.stop_requested()) {
        guarded([this] { checkAndApplyPendingReconfigurationRequests(); });
        guarded([this] { monitorDevice(); });
        guarded([this] { orderRestartWhenDue(); });
        pauseForCycle(stop);
    }
    disconnectFromService();
    events.release();
    guarded([this] { keepWaitingFormat(); });
}

// Nothing may end the thread, not even a lack of descriptors or memory.
void DeltacastDeviceController::guarded(const std::function<void()>& work) const {
    try {
        work();
    } catch (const std::exception& e) {
        logFailure(std::string("Failed in this cycle: ") + e.what());
    }
}

void DeltacastDeviceController::checkThread() const {
    if (managementThreadId.load() != std::this_thread::get_id()) {
        logFailure("THIS FUNCTION IS NOT CALLED IN THE PROPER THREAD!");
    }
}

bool DeltacastDeviceController::connectToServiceIfNeeded() {
    checkThread();
    if (link == Link::Up) {
        return true;
    }
    disconnectFromService();
    try {
        if (!requests) {
            throw std::runtime_error("the controller is not set up");
        }
        requests->connect(monitoringEndpoint);
        link = Link::Up;
        return true;
    } catch (const std::exception& e) {
        if (!isStopped()) {
            logFailure(std::string("Failed connecting: ") + e.what());
        }
        disconnectFromService();
        return false;
    }
}

void DeltacastDeviceController::disconnectFromService() {
    checkThread();
    if (link == Link::Up) {
        requests->close();
        link = Link::Down;
    }
    setStatusUnreachable();
}

// Nothing when the wait for the answer was interrupted; throws when there was no good one.
std::optional<DeltacastDeviceController::Reply> DeltacastDeviceController::ask(
    const Request& request) {
    Reply reply;
    return requests->ask(request, reply, answerWithin) ? std::optional(std::move(reply))
                                                       : std::nullopt;
}

bool DeltacastDeviceController::isOfType(const Reply& reply, int type,
                                         const std::string& otherwise) const {
    return reply.type() == type || logFailure(otherwise);
}

bool DeltacastDeviceController::pingService() {
    checkThread();
    if (!connectToServiceIfNeeded()) {
        return false;
    }
    try {
        const auto reply = ask(makeRequest(Request::PING));
        if (!reply) {
            return false;
        }
        setStatusRunning();
        if (!isOfType(*reply, Request::PING, "Failed pinging device: unexpected reply type")) {
            return false;
        }
        publisher.sendWhatIsLeft();
        if (dependencies.listener.isToBeDescribedAnew(serviceId())) {
            description = Description::Outdated;
        }
        return true;
    } catch (const std::exception& e) {
        return logFailure(std::string("Failed pinging device: ") + e.what());
    }
}

void DeltacastDeviceController::updateDeviceTree(const std::shared_ptr<DeviceNode>& node) {
    *serviceNode.lock() = node;
    endOutage();
    try {
        process.learn(processIdOf(node.get()), monitoringEndpoint);
        if (const auto own = process.own()) {
            noteRunning(*own);
        }
    } catch (const std::invalid_argument&) {
        // it is said when somebody wants to know the id
    }
    publisher.updateDeviceTree(node);
}

bool DeltacastDeviceController::sendStop(std::string& error) {
    checkThread();
    error.clear();
    if (!connectToServiceIfNeeded()) {
        error = "nobody is there";
        return false;
    }
    auto request = makeRequest(Request::CONTROL);
    request.MutableExtension(ControlRequest::base)->set_command(ControlRequest::STOP);
    try {
        const auto reply = ask(request);
        if (!reply) {
            error = "interrupted";
        } else if (reply->type() != Request::CONTROL) {
            error = formatMessage("Failed sending stop: unexpected reply type");
        }
    } catch (const std::exception& e) {
        error = e.what();
        // The command may still wait to be sent: it must not reach the process that comes next.
        requests->close();
        link = Link::Down;
    }
    return error.empty();
}

void DeltacastDeviceController::stopOrKillRunningService() {
    checkThread();
    const int id = getDeltacastServicePid();
    process.lookAgain();
    life = Life::Stopped;
    std::string error;
    if (!sendStop(error) && !isStopped()) {
        logFailure("Error string received: " + error);
    }
    if (id != 0) {
        process.end(id, stopFlag.get_token());
    }
    setStatusUnreachable();
}

bool DeltacastDeviceController::pingOrPoll() {
    return events.isNamed() ? pingService() : pollService();
}

void DeltacastDeviceController::monitorDevice() {
    checkThread();
    remindOfOutage();
    if (noticeEnd() || !connectToServiceIfNeeded()) {
        return;
    }
    if (!getServiceDeviceTree()) {
        setStatusUnreachable();
        // It may just be slow, or have got better.
        if (launched == Launch::Done || description == Description::Refused) {
            requestDeviceProperties();
        }
        return;
    }
    if (pingOrPoll()) {
        describeAgain();
    } else if (!isStopped()) {
        logFailure("Impossible to ping or to poll the Service...");
        setStatusUnreachable();
    }
}

// It may be another process than the one that was described.
void DeltacastDeviceController::describeAgain() {
    if (description == Description::Outdated) {
        requestDeviceProperties();
    }
}

void DeltacastDeviceController::setStatusUnreachable() {
    const auto change = status.enter(DeltacastStatus::Unreachable);
    if (change == DeltacastStatusMachine::Change::Done && description == Description::Current) {
        description = Description::Outdated;
    }
    if (change == DeltacastStatusMachine::Change::Done) {
        showOutage();
    }
}

void DeltacastDeviceController::setStatusStarting() {
    status.enter(DeltacastStatus::Starting);
    description = Description::Outdated;
}

void DeltacastDeviceController::setStatusRunning() {
    status.enter(DeltacastStatus::Running);
}

void DeltacastDeviceController::logInfo(const std::string& text) const {
    utils::logInfo(formatMessage(text));
}

bool DeltacastDeviceController::logFailure(const std::string& text) const {
    utils::logError(formatMessage(text));
    return false;
}

}  // namespace tarn::service::devices
