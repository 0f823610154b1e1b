#include "service/devices/protocol/TarnProtocolDeviceController.h"

#include <stdexcept>
#include <system_error>
#include <utility>

#include "platform/device_tree/DeviceNode.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"
#include "proto/monitoring.pb.h"
#include "service/devices/DeviceDoor.h"
#include "service/devices/DeviceEventListener.h"
#include "service/devices/DevicePresence.h"

namespace tarn::service::devices {

using device_tree::DeviceNode;
using tarn::proto::monitoring::ControlRequest;

namespace {

constexpr std::chrono::seconds afterDescription{1};
constexpr std::chrono::seconds afterPoll{1};
constexpr std::chrono::seconds afterPing{3};
constexpr std::chrono::seconds startWaitStep{1};

constexpr auto unexpectedReply = "Failed getting properties: unexpected reply type";
constexpr auto failedExchange = "Failed pinging device: ";

DeviceRequestSocket::Request makeRequest(DeviceRequestSocket::Request::Type type) {
    DeviceRequestSocket::Request request;
    request.set_type(type);
    return request;
}

}  // namespace

TarnProtocolDeviceController::TarnProtocolDeviceController(const std::string& endpoint,
                                                           Dependencies dependencies)
    : TarnProtocolDeviceController(endpoint, std::move(dependencies), StartLater()) {
    startIsAliveThread();
}

TarnProtocolDeviceController::TarnProtocolDeviceController(const std::string& endpoint,
                                                           Dependencies given, StartLater)
    : dependencies(std::move(given)),
      endpointText(endpoint),
      events(dependencies.listener),
      publisher(notifyEvent) {
    try {
        deviceEndpoint = socket::SocketEndpoint::FromString(endpoint);
        endpointText = deviceEndpoint.toString(socket::Protocol::None);
        requests.emplace("TARN Protocol device request", dependencies.answerWithin);
    } catch (const std::exception& e) {
        reportFailedSetup(e.what());
    }
}

TarnProtocolDeviceController::~TarnProtocolDeviceController() {
    stopIsAliveThread();
}

std::string TarnProtocolDeviceController::messageHeader() const {
    return "TarnProtocolDeviceController on " + endpointText;
}

void TarnProtocolDeviceController::stop() {
    stopIsAliveThread();
}

bool TarnProtocolDeviceController::startService(std::string&) {
    return true;
}

bool TarnProtocolDeviceController::stopService(std::string&) {
    return true;
}

void TarnProtocolDeviceController::reportFailedSetup(const std::string& reason) {
    utils::logError(formatMessage("Error in Device Controller setup: " + reason));
    report(Start::Finished);
}

void TarnProtocolDeviceController::startIsAliveThread() {
    if (!requests) {
        return;
    }
    stopIsAliveThread();
    report(Start::Pending);
    try {
        isAliveThread.start([this](const std::stop_token& stop) { isAliveThreadFunction(stop); });
    } catch (const std::exception& e) {
        reportFailedSetup(e.what());
    }
}

void TarnProtocolDeviceController::stopIsAliveThread() {
    try {
        isAliveThread.stop();
    } catch (const std::system_error& e) {
        utils::logError(formatMessage(std::string("Failed stopping IsAlive thread: ") + e.what()));
    }
}

bool TarnProtocolDeviceController::waitForDeviceStarted() {
    std::unique_lock lock(startMutex);
    try {
        while (start == Start::Pending) {
            startCondition.wait_for(lock, startWaitStep);
        }
    } catch (const std::exception& e) {
        utils::logError(formatMessage(
            std::string("Failed waiting for tarn device controller start: ") + e.what()));
    }
    return start == Start::Started;
}

void TarnProtocolDeviceController::report(Start outcome) {
    const std::lock_guard lock(startMutex);
    start = outcome;
    startCondition.notify_all();
}

bool TarnProtocolDeviceController::sendStop(std::string& error) {
    error.clear();
    auto request = makeRequest(Request::CONTROL);
    request.MutableExtension(ControlRequest::base)->set_command(ControlRequest::STOP);
    try {
        Reply reply;
        if (!requests || !requests->ask(request, reply)) {
            error = "The device is not watched";
        } else if (reply.type() != Request::CONTROL) {
            error = "Failed sending stop: unexpected reply type";
        }
    } catch (const std::exception& e) {
        error = e.what();
    }
    return error.empty();
}

void TarnProtocolDeviceController::isAliveThreadFunction(const std::stop_token& stop) {
    requests->resume();
    {
        const std::stop_callback interrupting(stop, [this] { requests->interrupt(); });
        watch(stop);
    }
    requests->close();
    link = Link::Disconnected;
    events.release();
    noteLost();
    report(Start::Finished);
}

void TarnProtocolDeviceController::watch(const std::stop_token& stop) {
    if (stop.stop_requested()) {
        return;
    }
    connectAndDescribe(stop);
    if (link == Link::Disconnected && !stop.stop_requested()) {
        startMissingService();
    }
    while (!stop.stop_requested()) {
        watchOnce(stop);
    }
}

void TarnProtocolDeviceController::watchOnce(const std::stop_token& stop) {
    switch (link) {
        case Link::Pinged:
            pingDevice();
            return dependencies.pause(afterPing, stop);
        case Link::Polled:
            pollDevice();
            return dependencies.pause(afterPoll, stop);
        case Link::Refused:
            requestDeviceProperties();
            return dependencies.pause(afterPoll, stop);
        case Link::Disconnected:
            return connectAndDescribe(stop);
    }
}

void TarnProtocolDeviceController::connectAndDescribe(const std::stop_token& stop) {
    if (connect()) {
        requestDeviceProperties();
    }
    dependencies.pause(afterDescription, stop);
    if (link != Link::Disconnected) {
        report(Start::Started);
    }
}

bool TarnProtocolDeviceController::connect() {
    try {
        requests->connect(deviceEndpoint);
        return true;
    } catch (const std::exception& e) {
        utils::logWarning(formatMessage("Failed connecting to " + endpointText + ": " + e.what()));
        withdraw();
        removeGhost();
        return false;
    }
}

void TarnProtocolDeviceController::startMissingService() {
    std::string error;
    if (!startService(error)) {
        utils::logError(formatMessage("Attempt to start service failed: " + error));
        report(Start::Finished);
    }
}

void TarnProtocolDeviceController::requestDeviceProperties() {
    try {
        const auto description = askDescription();
        if (description && listenToEvents(*description)) {
            publish(description->device());
        }
    } catch (const RefusedDescription& answer) {
        showRefused(answer.refusal);
    } catch (const std::exception& e) {
        lose(std::string(failedExchange) + e.what());
    }
}

void TarnProtocolDeviceController::pollDevice() {
    try {
        if (const auto description = askDescription()) {
            publish(description->device());
        }
    } catch (const RefusedDescription& answer) {
        showRefused(answer.refusal);
    } catch (const std::exception& e) {
        lose(std::string(failedExchange) + e.what());
    }
}

void TarnProtocolDeviceController::pingDevice() {
    try {
        Reply reply;
        if (!requests->ask(makeRequest(Request::PING), reply)) {
            return;
        }
        if (reply.type() != Request::PING) {
            return lose(unexpectedReply);
        }
        publisher.sendWhatIsLeft();
    } catch (const std::exception& e) {
        return lose(std::string(failedExchange) + e.what());
    }
    describeAnewIfDue();
}

// What its events changed is not what was published here.
void TarnProtocolDeviceController::describeAnewIfDue() {
    if (dependencies.listener.isToBeDescribedAnew(deviceId)) {
        publisher.tellAllNext();
        requestDeviceProperties();
    }
}

// Null when there is no description: the device is lost then, or nobody wants to know any more.
std::unique_ptr<TarnProtocolDeviceController::GetDescriptionReply>
TarnProtocolDeviceController::askDescription() {
    Reply reply;
    if (!requests->ask(makeRequest(Request::GET_DESCRIPTION), reply)) {
        return nullptr;
    }
    if (reply.type() != Request::GET_DESCRIPTION) {
        lose(unexpectedReply);
        return nullptr;
    }
    if (!reply.success()) {
        lose("Failed getting properties: " + reply.error_message());
        return nullptr;
    }
    return std::make_unique<GetDescriptionReply>(
        std::move(*reply.MutableExtension(GetDescriptionReply::base)));
}

bool TarnProtocolDeviceController::listenToEvents(const GetDescriptionReply& description) {
    const auto& named = description.event_endpoint();
    if (named.empty()) {
        poll();
        return true;
    }
    if (const auto objection = objectionTo(named); !objection.empty()) {
        utils::logWarning(formatMessage("The device is polled, its event endpoint " +
                                        utils::quotedText(named) +
                                        " is not listened to: " + objection));
        poll();
        return true;
    }
    std::string error;
    if (!events.name(named, error)) {
        lose(error);
        return false;
    }
    link = Link::Pinged;
    return true;
}

// What is no endpoint is for the listener to complain of.
std::string TarnProtocolDeviceController::objectionTo(const std::string& eventEndpoint) const {
    try {
        const auto named = socket::SocketEndpoint::FromString(eventEndpoint);
        return dependencies.eventEndpoints.objectionTo(named, deviceEndpoint);
    } catch (const std::invalid_argument&) {
        return {};
    }
}

void TarnProtocolDeviceController::poll() {
    events.release();
    link = Link::Polled;
}

void TarnProtocolDeviceController::publish(const tarn::proto::monitoring::DeviceNode& device) {
    notePresent(device.id());
    updateDeviceTree(std::make_shared<DeviceNode>(device));
}

void TarnProtocolDeviceController::updateDeviceTree(const std::shared_ptr<DeviceNode>& node) {
    publisher.updateDeviceTree(node);
}

void TarnProtocolDeviceController::showRefused(const Refusal& refusal) {
    if (link != Link::Refused) {
        utils::logError(formatMessage(refusal.line()));
    }
    events.release();
    link = Link::Refused;
    const auto shown = std::make_shared<DeviceNode>(refusal.shown());
    notePresent(shown->getId());
    updateDeviceTree(shown);
}

void TarnProtocolDeviceController::lose(const std::string& reason) {
    utils::logError(formatMessage(reason));
    withdraw();
}

void TarnProtocolDeviceController::withdraw() {
    link = Link::Disconnected;
    events.release();
    noteLost();
    updateDeviceTree(nullptr);
}

void TarnProtocolDeviceController::notePresent(const std::string& id) {
    if (isPresent && deviceId == id) {
        return;
    }
    noteLost();
    deviceId = id;
    if (dependencies.presence != nullptr) {
        dependencies.presence->connected(deviceId);
    }
    isPresent = true;
}

void TarnProtocolDeviceController::noteLost() {
    if (isPresent && dependencies.presence != nullptr) {
        dependencies.presence->lost(deviceId);
    }
    isPresent = false;
}

void TarnProtocolDeviceController::removeGhost() {
    if (!deviceId.empty() && dependencies.presence != nullptr &&
        dependencies.presence->removeGhost(deviceId, notifyEvent)) {
        utils::logInfo(formatMessage("Removed what the device told after it was lost"));
    }
}

}  // namespace tarn::service::devices
