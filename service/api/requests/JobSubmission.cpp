#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/utils/Log.h"
#include "service/api/ApiToServiceRequestHandler.h"
#include "service/api/PersistentFileName.h"
#include "service/configuration/ConfigurationHandler.h"
#include "service/workflows/WorkflowCreator.h"

namespace tarn::service {

using tarn::proto::api_service::ApiToServiceRequestJobSubmission;
using tarn::proto::api_service::ServiceToApiReplyJobSubmission;

namespace {

// Elements of the same name add up, in arrival order; one without values leaves no trace.
WorkflowCreator::Properties propertiesOf(const ApiToServiceRequestJobSubmission& submission) {
    WorkflowCreator::Properties properties;
    for (const auto& property : submission.properties()) {
        for (const auto& value : property.values()) {
            properties[property.name()].push_back(value);
        }
    }
    return properties;
}

}  // namespace

bool ApiToServiceRequestHandler::isRunning(const std::string& jobId) const {
    resource_manager::RunningJob job;
    std::string error;
    return dependencies.resourceManager.getRunningJobWithUuid(jobId, job, error) &&
           !job.getJobDescription().getJobId().empty();
}

bool ApiToServiceRequestHandler::maySubmit(HandlerFrame& frame) {
    const auto reason = submissionLimits.refusal(
        socket::visitorOf(frame.sender()), dependencies.configuration.getLimits(),
        [this](const std::string& jobId) { return isRunning(jobId); });
    if (reason) {
        frame.refuse(*reason);
    }
    return !reason;
}

bool ApiToServiceRequestHandler::generateJobEndpoints(std::vector<std::string>& endpoints,
                                                      std::size_t count, std::string& error) {
    while (endpoints.size() < count) {
        std::string endpoint;
        if (!dependencies.workflows.generateNewEndpointString(endpoint, error)) {
            return false;
        }
        endpoints.push_back(endpoint);
    }
    return true;
}

ApiToServiceRequestHandler::Persistence ApiToServiceRequestHandler::persistenceOf(
    const ApiToServiceRequestJobSubmission& submission) const {
    if (!submission.persistent()) {
        return {};
    }
    const auto& folder = dependencies.configuration.getPersistentJobsFolder();
    if (folder.empty()) {
        utils::logError(formatMessage(
            "Job cannot be set as persistent, as no persistent job folder has been configured."));
        return {};
    }
    const bool named = submission.has_persistent_job_name();
    const auto fileName =
        named ? submission.persistent_job_name()
              : stampedFileName(dependencies.wallNow(), submission.job_description().name());
    if (const auto problem = fileNameProblem(fileName); !problem.empty()) {
        utils::logError(formatMessage("Job cannot be set as persistent, as " + problem));
        return {};
    }
    return {folder + "/" + fileName, named ? fileName : std::string()};
}

// The client has its answer before the job exists: it learns the endpoints at once, and how the
// launch went from the job or from the list of jobs.
void ApiToServiceRequestHandler::handleJobSubmissionRequest(Request& request, HandlerFrame& frame) {
    if (!maySubmit(frame)) {
        return;
    }
    std::string ipcEndpoint;
    std::vector<std::string> endpoints;
    std::string error;
    if (!dependencies.workflows.generateIpcEndpointString(ipcEndpoint, error) ||
        !generateJobEndpoints(endpoints, 2, error)) {
        utils::logError(formatMessage("Cannot submit job: " + error));
        utils::logWarning(formatMessage(dependencies.workflows.describePortUse()));
        return frame.waive();
    }
    auto& answer = *frame.reply().MutableExtension(ServiceToApiReplyJobSubmission::base);
    answer.set_first_job_endpoint(endpoints[0]);
    answer.set_second_job_endpoint(endpoints[1]);
    frame.send();

    const auto& submission = *request.MutableExtension(ApiToServiceRequestJobSubmission::base);
    submissionLimits.note(socket::visitorOf(frame.sender()), submission.job_description().job_id());
    const auto persistence = persistenceOf(submission);
    dependencies.workflows.createWorkflow(
        ipcEndpoint, endpoints[0], endpoints[1], submission.job_description(),
        propertiesOf(submission), submission.job_configuration(), persistence.filePath,
        persistence.jobName, /*restoredFromFile=*/{}, access::Owner(frame.sender()));
}

}  // namespace tarn::service
