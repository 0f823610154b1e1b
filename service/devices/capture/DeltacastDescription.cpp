// How the controller learns what the ingest service is, and where that tells its changes.
#include <stdexcept>
#include <utility>

#include "platform/device_tree/DeviceNode.h"
#include "platform/utils/Printable.h"
#include "proto/monitoring.pb.h"
#include "service/devices/DeviceDoor.h"
#include "service/devices/capture/DeltacastDeviceController.h"

namespace tarn::service::devices {

using device_tree::DeviceNode;
using tarn::proto::monitoring::GetDescriptionReply;

namespace {

std::shared_ptr<DeviceNode> nodeOf(const DeviceRequestSocket::Reply& reply) {
    return std::make_shared<DeviceNode>(reply.GetExtension(GetDescriptionReply::base).device());
}

}  // namespace

std::optional<DeltacastDeviceController::Reply> DeltacastDeviceController::askDescription() {
    Request request;
    request.set_type(Request::GET_DESCRIPTION);
    return ask(request);
}

bool DeltacastDeviceController::pollService() {
    checkThread();
    if (!connectToServiceIfNeeded()) {
        return false;
    }
    try {
        const auto reply = askDescription();
        if (!reply) {
            return false;
        }
        setStatusRunning();
        if (!isOfType(*reply, Request::GET_DESCRIPTION,
                      "Failed polling device: unexpected reply type")) {
            return false;
        }
        if (!reply->success()) {  // what it holds is no description
            return logFailure("Failed polling device: " + reply->error_message());
        }
        showAdmitted();
        updateDeviceTree(nodeOf(*reply));
        return true;
    } catch (const RefusedDescription& answer) {
        setStatusRunning();
        return showRefused(answer.refusal);
    } catch (const std::exception& e) {
        return logFailure(std::string("Failed pinging device: ") + e.what());
    }
}

bool DeltacastDeviceController::requestDeviceProperties() {
    checkThread();
    if (!connectToServiceIfNeeded()) {
        return false;
    }
    try {
        const auto reply = askDescription();
        if (!reply || !isOfType(*reply, Request::GET_DESCRIPTION,
                                "Failed getting properties: unexpected reply type")) {
            return false;
        }
        if (!reply->success()) {
            return logFailure("Failed getting properties: " + reply->error_message());
        }
        if (events.isNamed()) {  // events changed what was published before
            publisher.tellAllNext();
        }
        listenToEvents(reply->GetExtension(GetDescriptionReply::base).event_endpoint());
        updateDeviceTree(nodeOf(*reply));
        description = Description::Current;
        return true;
    } catch (const RefusedDescription& answer) {
        return showRefused(answer.refusal);
    } catch (const std::exception& e) {
        return logFailure(std::string("Failed getting properties: ") + e.what());
    }
}

// A service whose events cannot be received is polled.
bool DeltacastDeviceController::listenToEvents(const std::string& endpoint) {
    if (endpoint.empty()) {
        events.release();
        return true;
    }
    if (const auto objection = objectionTo(endpoint); !objection.empty()) {
        events.release();
        return logFailure("The service is polled, its event endpoint " +
                          utils::quotedText(endpoint) + " is not listened to: " + objection);
    }
    std::string error;
    return events.name(endpoint, error) || logFailure(error);
}

// What is no endpoint is for the listener to complain of.
std::string DeltacastDeviceController::objectionTo(const std::string& endpoint) const {
    try {
        return eventEndpoints.objectionTo(socket::SocketEndpoint::FromString(endpoint),
                                          monitoringEndpoint);
    } catch (const std::invalid_argument&) {
        return {};
    }
}

// The service answers, so that it is not lost. What it is stays as it was described last.
bool DeltacastDeviceController::showRefused(const Refusal& refusal) {
    if (std::exchange(description, Description::Refused) != Description::Refused) {
        logFailure(refusal.line());
    }
    events.release();
    publisher.updateDeviceTree(std::make_shared<DeviceNode>(refusal.shown()));
    return true;
}

void DeltacastDeviceController::showAdmitted() {
    if (description == Description::Refused) {
        description = Description::Outdated;  // its event endpoint has to be read again
    }
}

std::string DeltacastDeviceController::serviceId() {
    const auto node = *serviceNode.lock();
    return node ? node->getId() : std::string();
}

}  // namespace tarn::service::devices
