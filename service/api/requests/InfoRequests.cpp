#include "proto/dictionary.pb.h"
#include "service/api/ApiToServiceRequestHandler.h"
#include "service/configuration/ConfigurationHandler.h"
#include "service/configuration/LoopStorageConfigurationHandler.h"
#include "service/workflows/WorkflowCreator.h"

namespace tarn::service {

using tarn::proto::api_service::ServiceToApiReplyInfo;

namespace {

// Only the first connection is reported, and none when that one is not valid.
void addLoopStorage(ServiceToApiReplyInfo& info,
                    const configuration::ConfigurationHandler& settings) {
    const auto& storages = settings.getLoopStorages();
    if (storages.empty() || !storages.front() || !storages.front()->isValid()) {
        return;
    }
    const auto& first = *storages.front();
    auto& reported = *info.mutable_loop_storage_configuration();
    reported.set_address(first.getAddress());
    if (first.isTcpInterface()) {
        reported.set_port(first.getPort());
    }
}

}  // namespace

void ApiToServiceRequestHandler::handleGetInfoRequest(Request&, HandlerFrame& frame) {
    auto& info = *frame.reply().MutableExtension(ServiceToApiReplyInfo::base);
    info.set_service_name(serviceName);
    info.set_version("service version TODO");
    info.set_events_endpoint(
        dependencies.workflows.getEventsEndpoint().toString(socket::Protocol::None));
    *info.mutable_components_dictionary() = dependencies.dictionary.toProtoBuf();
    addLoopStorage(info, dependencies.configuration);
}

}  // namespace tarn::service
