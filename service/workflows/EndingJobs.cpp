#include "service/workflows/EndingJobs.h"

#include <list>
#include <string>

#include "platform/os/Deadline.h"
#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/utils/Log.h"
#include "proto/api_job.pb.h"
#include "service/workflows/JobRequests.h"

namespace tarn::service {

namespace {

using namespace std::chrono_literals;
using resource_manager::ResourceManagerProxy;
using resource_manager::RunningJob;
using tarn::proto::api_job::ApiToJobRequest;
using tarn::proto::api_job::JobToApiReply;
using tarn::proto::api_job::JobToApiReplyStatus;

constexpr std::uint32_t stateReplyLimit = 1 << 20;
constexpr auto answerBound = 1s;  // of all of them together
constexpr auto period = 50ms;

bool isEnding(const JobToApiReply& reply) {
    const auto state = reply.GetExtension(JobToApiReplyStatus::base).state();
    return state == tarn::proto::job_monitoring::JOB_STATE_STOPPING ||
           state == tarn::proto::job_monitoring::JOB_STATE_ENDED;
}

std::list<RunningJob> livingJobs(ResourceManagerProxy& resourceManager) {
    std::list<RunningJob> jobs;
    std::string error;
    if (!resourceManager.getRunningJobs(jobs, error)) {
        utils::logError("Cannot look for jobs that are still ending: " + error);
    }
    jobs.remove_if([](const RunningJob& job) { return !isAlive(job.getProcess()); });
    return jobs;
}

std::list<RunningJob> endingJobs(ResourceManagerProxy& resourceManager) {
    ApiToJobRequest request;
    request.set_type(ApiToJobRequest::STATUS);
    std::list<RunningJob> ending;
    askJobs(livingJobs(resourceManager), request,
            {"Job state", socket::ClosePolicy::Discard, stateReplyLimit, answerBound},
            [&](const RunningJob& job, const JobToApiReply* reply, const std::string& problem) {
                if (reply == nullptr) {
                    utils::logDebug("A job does not tell its state: " + problem);
                } else if (isEnding(*reply)) {
                    ending.push_back(job);
                }
            });
    return ending;
}

bool isGone(ResourceManagerProxy& resourceManager, const RunningJob& job) {
    RunningJob now;
    std::string error;
    return resourceManager.getRunningJobWithUuid(job.getJobDescription().getJobId(), now, error) &&
           !(now.getProcess() == job.getProcess());
}

}  // namespace

void awaitEndingJobs(ResourceManagerProxy& resourceManager,
                     const std::function<bool(std::chrono::milliseconds)>& pause,
                     std::chrono::milliseconds bound) {
    auto jobs = endingJobs(resourceManager);
    if (jobs.empty()) {
        return;
    }
    utils::logInfo("Waiting for " + std::to_string(jobs.size()) + " job(s) to end");
    const os::Deadline deadline(bound);
    do {
        jobs.remove_if([&](const RunningJob& job) { return isGone(resourceManager, job); });
        if (jobs.empty()) {
            return;
        }
        if (pause(period)) {
            return;
        }
    } while (!deadline.hasPassed());
    utils::logWarning(std::to_string(jobs.size()) + " job(s) have not ended yet");
}

}  // namespace tarn::service
