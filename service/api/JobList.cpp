#include "service/api/JobList.h"

#include <algorithm>
#include <utility>

namespace tarn::service {

using tarn::proto::api_service::ServiceToApiReply;
using tarn::proto::api_service::ServiceToApiReplyGetJobs;

void fill(tarn::proto::api_service::RunningJob& target, const resource_manager::RunningJob& job) {
    target.set_command_endpoint(job.getCommandEndpoint());
    target.set_event_endpoint(job.getEventEndpoint());
    *target.mutable_job_description() = job.getJobDescription().toProtoJobDescription();
}

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

}  // namespace tarn::service
