#include <list>
#include <utility>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/socket/Socket.h"
#include "platform/utils/Log.h"
#include "proto/api_service.pb.h"
#include "service/api/ApiToServiceRequestHandler.h"
#include "service/api/JobList.h"

namespace tarn::service {

using tarn::proto::api_service::ApiToServiceRequestGetJobByUuid;
using tarn::proto::api_service::ApiToServiceRequestGetJobs;
using tarn::proto::api_service::ServiceToApiReply;
using tarn::proto::api_service::ServiceToApiReplyGetJobByUuid;

// A failing resource manager shows in the log only: the client gets what there is.
void ApiToServiceRequestHandler::handleGetJobsRequest(Request& request, socket::Socket& socket) {
    HandlerFrame frame(forFrames, {"GetJobs request ", "GetJobs reply "});
    const auto& query = *request.MutableExtension(ApiToServiceRequestGetJobs::base);
    std::list<resource_manager::RunningJob> jobs;
    std::string error;
    if (query.has_property() && query.has_value()) {
        if (!dependencies.resourceManager.getRunningJobsWithPropertyAndValue(
                query.property(), query.value(), jobs, error, /*exact=*/true, /*ignoreCase=*/false,
                /*prefix=*/false, /*negate=*/false)) {
            utils::logError(
                formatMessage("Failed to get running jobs by property and value: " + error));
        }
    } else if (!dependencies.resourceManager.getRunningJobs(jobs, error)) {
        utils::logError(formatMessage("Failed to get running jobs: " + error));
    }
    frame.send(jobList->replyWith(std::move(jobs)), socket);
}

void ApiToServiceRequestHandler::handleGetJobByUuidRequest(Request& request,
                                                           socket::Socket& socket) {
    HandlerFrame frame(forFrames, {"GetJobByUuid request ", "GetJobByUuid reply "});
    ServiceToApiReply reply;
    reply.set_type(ServiceToApiReply::GET_JOB_BY_UUID);
    reply.set_success(true);
    auto& answer = *reply.MutableExtension(ServiceToApiReplyGetJobByUuid::base);
    const auto& uuid = request.MutableExtension(ApiToServiceRequestGetJobByUuid::base)->uuid();
    resource_manager::RunningJob job;
    std::string error;
    if (!dependencies.resourceManager.getRunningJobWithUuid(uuid, job, error)) {
        utils::logError(formatMessage("Failed to get running jobs by uuid: " + error));
    }
    // Also after a failure: an empty identifier then matches the empty record.
    if (job.getJobDescription().getJobId() == uuid) {
        fill(*answer.mutable_running_job(), job);
    }
    frame.send(reply, socket);
}

}  // namespace tarn::service
