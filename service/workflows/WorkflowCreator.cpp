#include "service/workflows/WorkflowCreator.h"

#include <utility>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/socket/Exchange.h"
#include "platform/socket/KeptIpcName.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"
#include "proto/service_job.pb.h"
#include "service/configuration/ConfigurationHandler.h"
#include "service/workflows/JobCellSetup.h"
#include "service/workflows/TcpSecurityOfJobs.h"
#include "service/workflows/launch/ShellQuote.h"

namespace tarn::service {

namespace {

using tarn::proto::service_job::JobToServiceReply;
using tarn::proto::service_job::ServiceToJobRequest;
using tarn::proto::service_job::ServiceToJobRequestSetup;

constexpr std::uint32_t jobAppearsWithinMs = 2000;
constexpr std::uint32_t replyLimit = 524288;
constexpr std::size_t loggedCommandLimit = 4096;

void addResources(ServiceToJobRequestSetup& setup, const WorkflowCreator::Properties& resources) {
    for (const auto& [name, values] : resources) {
        auto& resource = *setup.add_resources_to_reserve();
        resource.set_name(name);
        resource.mutable_values()->Add(values.begin(), values.end());
    }
}

}  // namespace

WorkflowCreator::WorkflowCreator(Dependencies dependencies)
    : MessageFormatter("Workflow creator"), dependencies(std::move(dependencies)) {}

void WorkflowCreator::init(const socket::SocketEndpoint& requests,
                           const socket::SocketEndpoint& events) {
    requestsEndpoint = requests;
    eventsEndpoint = events;
}

bool WorkflowCreator::isRunning(const std::string& uuid) {
    resource_manager::RunningJob job;
    std::string error;
    if (!dependencies.resourceManager.getRunningJobWithUuid(uuid, job, error)) {
        utils::logError(formatMessage("Failed to get running jobs by uuid: " + error));
        return false;
    }
    // So a job without an identifier is refused too: the record of "no job" has none either.
    return job.getJobDescription().getJobId() == uuid;
}

void WorkflowCreator::launch(const std::string& label, const std::string& ipcEndpoint) {
    const auto command = dependencies.configuration.getPluginsEnvironmentVariable() + " " +
                         dependencies.configuration.getWorkflowLauncher() + " " + "-l " +
                         shellQuoted(label) + " " + "-e " + ipcEndpoint + " " + "-d" + " &";
    utils::logInfo(
        formatMessage("Creating workflow: " + utils::printable(command, loggedCommandLimit)));
    dependencies.runShell(command);
}

bool WorkflowCreator::setUpJob(const std::string& ipcEndpoint, const ServiceToJobRequest& request) {
    socket::Socket socket("Job setup endpoint", socket::ClosePolicy::Discard);
    socket.createAndConnect(socket::Protocol::Request,
                            socket::SocketEndpoint::FromString(ipcEndpoint), jobAppearsWithinMs);
    if (utils::isLogEnabled(utils::LogLevel::Info)) {
        utils::logInfo(formatMessage("Sending " + request.DebugString()));
    }
    JobToServiceReply reply;
    socket::exchange(socket, request, reply, replyLimit);
    if (utils::isLogEnabled(utils::LogLevel::Trace)) {
        utils::logTrace(formatMessage("Received " + request.DebugString()));
    }
    if (reply.type() != JobToServiceReply::SETUP) {
        utils::logError(formatMessage("Received wrong type of reply to job setup request"));
        return false;
    }
    if (!reply.success()) {
        utils::logError(formatMessage("Job setup failed: " + reply.error_message()));
        return false;
    }
    utils::logInfo(formatMessage("Job setup properly sent"));
    if (reply.has_warning()) {
        const auto& id =
            request.GetExtension(ServiceToJobRequestSetup::base).job_description().job_id();
        utils::logWarning(formatMessage("Job " + utils::printable(id) + ": " + reply.warning()));
    }
    return true;
}

bool WorkflowCreator::createWorkflow(
    const std::string& ipcEndpoint, const std::string& firstJobEndpoint,
    const std::string& secondJobEndpoint,
    const tarn::proto::job_monitoring::JobDescription& jobDescription, const Properties& properties,
    const std::string& jobConfiguration, const std::string& persistentFilePath,
    const std::string& persistentJobName, const std::string& restoredFromFile,
    const access::Owner& owner) {
    const std::string& uuid = jobDescription.job_id();
    if (isRunning(uuid)) {
        utils::logWarning(formatMessage("Will not (re)create job with UUID " +
                                        utils::printable(uuid) + ": already running"));
        if (uuid.empty()) {
            utils::logError(formatMessage("A job without an id cannot be run: none was given"));
        }
        return false;
    }

    ServiceToJobRequest request;
    request.set_type(ServiceToJobRequest::SETUP);
    auto& setup = *request.MutableExtension(ServiceToJobRequestSetup::base);
    setup.set_version(ServiceToJobRequestSetup::CURRENT);
    *setup.mutable_job_description() = jobDescription;
    setup.set_job_configuration(jobConfiguration);
    setup.set_first_job_endpoint(firstJobEndpoint);
    setup.set_second_job_endpoint(secondJobEndpoint);
    setup.set_resources_endpoint(dependencies.configuration.getResourcesEndpoint());
    if (const auto refused = describeCell(dependencies.configuration.getJobCell(), properties,
                                          *setup.mutable_cell());
        !refused.empty()) {
        utils::logWarning(formatMessage("Job " + utils::printable(uuid) +
                                        " asks for more than jobs may have: " + refused));
    }
    if (dependencies.configuration.getSecurity().isGiven()) {
        fill(*setup.mutable_tcp_security(), dependencies.configuration.getSecurity());
    }
    auto resources = properties;
    resources["Endpoint"] = {firstJobEndpoint, secondJobEndpoint};
    addResources(setup, resources);
    if (!persistentFilePath.empty()) {
        setup.set_persistent_file_path(persistentFilePath);
    }
    if (!persistentJobName.empty()) {
        setup.set_persistent_job_name(persistentJobName);
    }
    if (!restoredFromFile.empty()) {
        setup.set_restored_from_file(restoredFromFile);
    }
    if (!owner.isNobody()) {
        *setup.mutable_owner() = owner.toProtoBuf();
    }

    try {
        // The launcher's command line tells everybody where it will listen.
        const socket::KeptIpcName untilItListens(socket::SocketEndpoint::FromString(ipcEndpoint));
        launch(persistentJobName.empty() ? uuid : persistentJobName, ipcEndpoint);
        return setUpJob(ipcEndpoint, request);
    } catch (const std::exception& e) {
        utils::logError(formatMessage(std::string("Failed starting external job: ") + e.what()));
        return true;
    }
}

}  // namespace tarn::service
