#include "platform/utils/Log.h"
#include "service/api/ApiToServiceRequestHandler.h"
#include "service/devices/DeviceManager.h"
#include "service/devices/capture/DeltacastDeviceController.h"

namespace tarn::service {

using tarn::proto::api_service::ApiToServiceRequestConfigureDeltacast;
using tarn::proto::api_service::ServiceToApiReplyGetDeltacast;

namespace {

ServiceToApiReplyGetDeltacast::State stateOf(devices::DeltacastStatus status) {
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

}  // namespace

// The client has its answer when the format waits to be applied. What a format lacks is replaced
// when it is: also a format without content is one.
void ApiToServiceRequestHandler::handleConfigureDeltacastRequest(Request& request,
                                                                 HandlerFrame& frame) {
    if (!request.HasExtension(ApiToServiceRequestConfigureDeltacast::base)) {
        utils::logWarning(formatMessage("Invalid reconfiguration request"));
    }
    const auto& order = *request.MutableExtension(ApiToServiceRequestConfigureDeltacast::base);
    if (utils::isLogEnabled(utils::LogLevel::Debug)) {
        utils::logDebug(formatMessage("Handling reconfiguration request: " + order.DebugString()));
    }
    const auto controller = dependencies.devices.getDeltacastController();
    if (!controller) {
        frame.refuse("No Deltacast controller configured");
    } else {
        utils::logDebug(formatMessage("Reconfiguring Deltacast device..."));
        controller->configure(order.config());
        utils::logDebug(formatMessage("Reconfiguring Deltacast device... DONE"));
    }
}

void ApiToServiceRequestHandler::handleGetDeltacastRequest(Request&, HandlerFrame& frame) {
    const auto controller = dependencies.devices.getDeltacastController();
    auto& answer = *frame.reply().MutableExtension(ServiceToApiReplyGetDeltacast::base);
    devices::DeltacastDeviceController::DeltacastConfig config;
    std::string error;
    if (!controller) {
        frame.refuse("No Deltacast controller configured");
    } else if (!controller->getCurrentConfig(config, error)) {
        frame.refuse(error);
        utils::logError(formatMessage("Failed getting Deltacast device properties: " + error));
    } else {
        *answer.mutable_config() = config;
        tellState(*controller, answer);
    }
}

}  // namespace tarn::service
