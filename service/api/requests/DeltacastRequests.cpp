#include "platform/socket/Socket.h"
#include "platform/utils/Log.h"
#include "proto/api_service.pb.h"
#include "service/api/ApiToServiceRequestHandler.h"
#include "service/devices/DeviceManager.h"
#include "service/devices/capture/DeltacastDeviceController.h"

namespace tarn::service {

using tarn::proto::api_service::ApiToServiceRequestConfigureDeltacast;
using tarn::proto::api_service::ServiceToApiReply;
using tarn::proto::api_service::ServiceToApiReplyGetDeltacast;

namespace {

// The ingest process may be restarting.
constexpr std::chrono::seconds configureThreshold{50};

using State = ServiceToApiReplyGetDeltacast::State;

State stateOf(devices::DeltacastStatus status) {
    switch (status) {
        case devices::DeltacastStatus::Unreachable:
            return ServiceToApiReplyGetDeltacast::UNREACHABLE;
        case devices::DeltacastStatus::Starting:
            return ServiceToApiReplyGetDeltacast::STARTING;
        case devices::DeltacastStatus::Running:
            break;
    }
    return ServiceToApiReplyGetDeltacast::RUNNING;
}

// The format is what the process said last: whether that still holds must be told with it.
void tellState(devices::DeltacastDeviceController& controller,
               ServiceToApiReplyGetDeltacast& answer) {
    answer.set_state(stateOf(controller.getStatus()));
    const auto problem = controller.getOutage();
    if (answer.state() != ServiceToApiReplyGetDeltacast::RUNNING && !problem.empty()) {
        answer.set_problem(problem);
    }
}

void refuse(ServiceToApiReply& reply, const std::string& reason) {
    reply.set_success(false);
    reply.set_error_message(reason);
}

}  // namespace

// The client has its answer when the format waits to be applied. What a format lacks is replaced
// when it is: also a format without content is one.
void ApiToServiceRequestHandler::handleConfigureDeltacastRequest(Request& request,
                                                                 socket::Socket& socket) {
    HandlerFrame frame(forFrames, {"ConfigureDeltacast request ", "ConfigureDeltacast reply ",
                                   configureThreshold});
    if (!request.HasExtension(ApiToServiceRequestConfigureDeltacast::base)) {
        utils::logWarning(formatMessage("Invalid reconfiguration request"));
    }
    const auto& order = *request.MutableExtension(ApiToServiceRequestConfigureDeltacast::base);
    if (utils::isLogEnabled(utils::LogLevel::Debug)) {
        utils::logDebug(formatMessage("Handling reconfiguration request: " + order.DebugString()));
    }
    const auto controller = dependencies.devices.getDeltacastController();
    ServiceToApiReply reply;
    reply.set_type(ServiceToApiReply::CONFIGURE_DELTACAST);
    reply.set_success(true);
    if (!controller) {
        refuse(reply, "No Deltacast controller configured");
    } else {
        utils::logDebug(formatMessage("Reconfiguring Deltacast device..."));
        controller->configure(order.config());
        utils::logDebug(formatMessage("Reconfiguring Deltacast device... DONE"));
    }
    frame.send(reply, socket);
}

void ApiToServiceRequestHandler::handleGetDeltacastRequest(Request&, socket::Socket& socket) {
    HandlerFrame frame(forFrames, {"GetDeltacast request ", "GetDeltacast reply "});
    const auto controller = dependencies.devices.getDeltacastController();
    ServiceToApiReply reply;
    reply.set_type(ServiceToApiReply::GET_DELTACAST);
    reply.set_success(true);
    auto& answer = *reply.MutableExtension(ServiceToApiReplyGetDeltacast::base);
    devices::DeltacastDeviceController::DeltacastConfig config;
    std::string error;
    if (!controller) {
        refuse(reply, "No Deltacast controller configured");
    } else if (!controller->getCurrentConfig(config, error)) {
        refuse(reply, error);
        utils::logError(formatMessage("Failed getting Deltacast device properties: " + error));
    } else {
        *answer.mutable_config() = config;
        tellState(*controller, answer);
    }
    frame.send(reply, socket);
}

}  // namespace tarn::service
