#include "platform/utils/Log.h"
#include "service/api/ApiToServiceRequestHandler.h"
#include "service/devices/DeviceManager.h"
#include "service/devices/storage/LoopStorageDeviceController.h"

namespace tarn::service {

namespace loop_storage = tarn::proto::loop_storage;
using tarn::proto::api_service::ApiToServiceRequestLoopStorage;
using tarn::proto::api_service::ServiceToApiReplyLoopStorage;

namespace {

void fail(loop_storage::Reply& reply, const std::string& reason) {
    reply.Clear();
    reply.set_type(loop_storage::Reply::ERROR);
    reply.set_success(false);
    reply.set_error_message(reason);
}

}  // namespace

void ApiToServiceRequestHandler::handleLoopStorageRequest(Request& request, HandlerFrame& frame) {
    const auto& wanted = request.MutableExtension(ApiToServiceRequestLoopStorage::base)->request();
    auto& told =
        *frame.reply().MutableExtension(ServiceToApiReplyLoopStorage::base)->mutable_reply();
    const auto done = operateLoopStorage(wanted, told);
    frame.nameRequest((done ? "LoopStorage request " : "LoopStorage request (error) ") +
                      loop_storage::Request::Type_Name(wanted.type()));
}

bool ApiToServiceRequestHandler::operateLoopStorage(const loop_storage::Request& wanted,
                                                    loop_storage::Reply& reply) {
    const auto controller = dependencies.devices.getLoopStorageController();
    if (!controller) {
        fail(reply, "Storage device controller not found");
        return false;
    }
    auto request = wanted;
    if (utils::isLogEnabled(utils::LogLevel::Trace)) {
        utils::logTrace(formatMessage("Handling " + request.DebugString()));
    }
    std::string error;
    if (!controller->handleApiRequest(request, reply, error)) {
        utils::logError(formatMessage("Failed handling request: " + error));
        fail(reply, error);
        return false;
    }
    return true;
}

}  // namespace tarn::service
