#include "platform/socket/Exchange.h"
#include "platform/socket/KeptIpcName.h"
#include "platform/utils/Log.h"
#include "proto/service_engine.pb.h"
#include "service/api/ApiToServiceRequestHandler.h"
#include "service/configuration/ConfigurationHandler.h"
#include "service/workflows/JobCellSetup.h"
#include "service/workflows/TcpSecurityOfJobs.h"
#include "service/workflows/WorkflowCreator.h"

namespace tarn::service {

using tarn::proto::api_service::ApiToServiceRequestEngineSubmission;
using tarn::proto::api_service::ServiceToApiReplyEngineSubmission;
using tarn::proto::service_engine::EngineToServiceReply;
using tarn::proto::service_engine::ServiceToEngineRequest;
using tarn::proto::service_engine::ServiceToEngineRequestSetup;

namespace {

constexpr std::uint32_t engineAppearsWithinMs = 2000;
constexpr std::uint32_t replyLimit = 524288;

ServiceToEngineRequest setupRequest(const ApiToServiceRequestEngineSubmission& submission,
                                    const std::vector<std::string>& endpoints,
                                    const configuration::ConfigurationHandler& configuration,
                                    const access::Owner& owner) {
    ServiceToEngineRequest request;
    request.set_type(ServiceToEngineRequest::SETUP);
    auto& setup = *request.MutableExtension(ServiceToEngineRequestSetup::base);
    setup.set_version(ServiceToEngineRequestSetup::CURRENT);
    setup.set_engine_name(submission.engine_name());
    setup.set_engine_settings(submission.engine_settings());
    setup.set_engine_option(submission.engine_option());
    setup.set_first_engine_endpoint(endpoints[0]);
    setup.set_second_engine_endpoint(endpoints[1]);
    setup.set_third_engine_endpoint(endpoints[2]);
    setup.set_fourth_engine_endpoint(endpoints[3]);
    auto& resource = *setup.add_resources_to_reserve();
    resource.set_name("Endpoint");
    resource.mutable_values()->Add(endpoints.begin(), endpoints.end());
    setup.set_resources_endpoint(configuration.getResourcesEndpoint());
    describeCell(configuration.getJobCell(), {}, *setup.mutable_cell());
    if (!owner.isNobody()) {
        *setup.mutable_owner() = owner.toProtoBuf();
    }
    if (configuration.getSecurity().isGiven()) {
        fill(*setup.mutable_tcp_security(), configuration.getSecurity());
    }
    return request;
}

}  // namespace

// As with a job, the client has its answer before the engine exists: what fails after that shows in
// the log only, and the endpoints stay given out.
void ApiToServiceRequestHandler::handleEngineSubmissionRequest(Request& request,
                                                               HandlerFrame& frame) {
    if (!maySubmit(frame)) {
        return;
    }
    std::vector<std::string> endpoints;
    std::string error;
    if (!generateJobEndpoints(endpoints, 4, error)) {
        utils::logError(formatMessage("Cannot submit engine: " + error));
        utils::logWarning(formatMessage(dependencies.workflows.describePortUse()));
        return frame.waive();
    }
    auto& answer = *frame.reply().MutableExtension(ServiceToApiReplyEngineSubmission::base);
    answer.set_first_engine_endpoint(endpoints[0]);
    answer.set_second_engine_endpoint(endpoints[1]);
    answer.set_third_engine_endpoint(endpoints[2]);
    answer.set_fourth_engine_endpoint(endpoints[3]);
    frame.send();

    std::string ipcEndpoint;
    if (!dependencies.workflows.generateIpcEndpointString(ipcEndpoint, error)) {
        utils::logError(formatMessage("Cannot submit engine: " + error));
        return;
    }
    try {
        // The launcher's command line tells everybody where it will listen.
        const socket::KeptIpcName untilItListens(socket::SocketEndpoint::FromString(ipcEndpoint));
        launchEngine(ipcEndpoint);
        setUpEngine(
            ipcEndpoint,
            setupRequest(*request.MutableExtension(ApiToServiceRequestEngineSubmission::base),
                         endpoints, dependencies.configuration, access::Owner(frame.sender())));
    } catch (const std::exception& e) {
        utils::logError(formatMessage(std::string("Failed starting external job: ") + e.what()));
    }
}

void ApiToServiceRequestHandler::launchEngine(const std::string& ipcEndpoint) {
    const auto command = dependencies.configuration.getPluginsEnvironmentVariable() + " " +
                         dependencies.configuration.getEngineLauncher() + " " + "-e " +
                         ipcEndpoint + " " + "-d" + " &";
    utils::logInfo(formatMessage("Starting engine: " + command));
    dependencies.runShell(command);
}

void ApiToServiceRequestHandler::setUpEngine(const std::string& ipcEndpoint,
                                             const ServiceToEngineRequest& request) {
    socket::Socket socket("Engine setup endpoint", socket::ClosePolicy::Discard);
    socket.createAndConnect(socket::Protocol::Request,
                            socket::SocketEndpoint::FromString(ipcEndpoint), engineAppearsWithinMs);
    if (utils::isLogEnabled(utils::LogLevel::Trace)) {
        utils::logTrace(formatMessage("Sending " + request.DebugString()));
    }
    EngineToServiceReply reply;
    socket::exchange(socket, request, reply, replyLimit);
    if (reply.type() == EngineToServiceReply::SETUP) {
        utils::logInfo(formatMessage("Job setup properly sent"));
        if (reply.has_success() && !reply.success()) {
            utils::logError(formatMessage("Engine setup refused: " + reply.error_message()));
        }
    } else {
        utils::logError(formatMessage("Received wrong type of reply to job setup request"));
    }
}

}  // namespace tarn::service
