#include <algorithm>
#include <list>
#include <utility>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/utils/Log.h"
#include "service/api/ApiToServiceRequestHandler.h"

namespace tarn::service {

using tarn::proto::api_service::ApiToServiceRequestGetJobByUuid;
using tarn::proto::api_service::ApiToServiceRequestGetJobs;
using tarn::proto::api_service::ServiceToApiReply;
using tarn::proto::api_service::ServiceToApiReplyGetJobByUuid;
using tarn::proto::api_service::ServiceToApiReplyGetJobs;

namespace {

void fill(tarn::proto::api_service::RunningJob& target, const resource_manager::RunningJob& job) {
    target.set_command_endpoint(job.getCommandEndpoint());
    target.set_event_endpoint(job.getEventEndpoint());
    *target.mutable_job_description() = job.getJobDescription().toProtoJobDescription();
    if (!job.getOwner().isNobody()) {
        *target.mutable_owner() = job.getOwner().toProtoBuf();
    }
}

}  // namespace

bool JobList::isStillOf(const std::list<resource_manager::RunningJob>& jobs) const {
    return reply.has_type() &&
           std::equal(jobs.begin(), jobs.end(), listed.begin(), listed.end(),
                      [](const auto& a, const auto& b) { return a.isSameRecordAs(b); });
}

const ServiceToApiReply& JobList::replyWith(std::list<resource_manager::RunningJob> jobs) {
    if (isStillOf(jobs)) {
        return reply;
    }
    listed = std::move(jobs);
    reply.Clear();
    reply.set_type(ServiceToApiReply::GET_JOBS);
    reply.set_success(true);
    auto& list = *reply.MutableExtension(ServiceToApiReplyGetJobs::base);
    for (const auto& job : listed) {
        fill(*list.add_running_jobs(), job);
    }
    return reply;
}

// A failing resource manager shows in the log only: the client gets what there is.
void ApiToServiceRequestHandler::handleGetJobsRequest(Request& request, HandlerFrame& frame) {
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
    frame.send(jobList.replyWith(std::move(jobs)));
}

void ApiToServiceRequestHandler::handleGetJobByUuidRequest(Request& request, HandlerFrame& frame) {
    auto& answer = *frame.reply().MutableExtension(ServiceToApiReplyGetJobByUuid::base);
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
}

}  // namespace tarn::service
