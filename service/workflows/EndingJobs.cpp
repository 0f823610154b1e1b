#include "service/workflows/EndingJobs.h"

#include <algorithm>
#include <list>
#include <string>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/socket/Socket.h"
#include "platform/utils/Log.h"
#include "proto/api_job.pb.h"

namespace tarn::service {

namespace {

using namespace std::chrono_literals;
using resource_manager::ResourceManagerProxy;
using resource_manager::RunningJob;
using tarn::proto::api_job::ApiToJobRequest;
using tarn::proto::api_job::JobToApiReply;
using tarn::proto::api_job::JobToApiReplyStatus;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t stateReplyLimit = 1 << 20;
constexpr auto answerBound = 500ms;
constexpr auto askingBound = 2s;  // for all of them, when many do not answer
constexpr auto period = 50ms;

tarn::proto::job_monitoring::JobState askForState(const RunningJob& job) {
    socket::Socket socket("Job state", socket::ClosePolicy::Discard);
    socket.setTimeout(answerBound);
    socket.createAndConnect(socket::Protocol::Request,
                            socket::SocketEndpoint::FromString(job.getCommandEndpoint()).asPeer(),
                            0);
    ApiToJobRequest request;
    request.set_type(ApiToJobRequest::STATUS);
    socket.sendProtoBuf(&request);
    JobToApiReply reply;
    socket.receiveProtoBuf(&reply, stateReplyLimit);
    return reply.GetExtension(JobToApiReplyStatus::base).state();
}

bool isEnding(const RunningJob& job) {
    try {
        const auto state = askForState(job);
        return state == tarn::proto::job_monitoring::JOB_STATE_STOPPING ||
               state == tarn::proto::job_monitoring::JOB_STATE_ENDED;
    } catch (const std::exception& e) {
        utils::logDebug(std::string("A job does not tell its state: ") + e.what());
        return false;
    }
}

std::list<RunningJob> endingJobs(ResourceManagerProxy& resourceManager) {
    std::list<RunningJob> jobs;
    std::string error;
    if (!resourceManager.getRunningJobs(jobs, error)) {
        utils::logError("Cannot look for jobs that are still ending: " + error);
    }
    const auto deadline = Clock::now() + askingBound;
    jobs.remove_if([&](const RunningJob& job) {
        return !resource_manager::isAlive(job.getProcess()) || Clock::now() > deadline ||
               !isEnding(job);
    });
    return jobs;
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
    const auto deadline = Clock::now() + bound;
    do {
        jobs.remove_if([&](const RunningJob& job) { return isGone(resourceManager, job); });
        if (jobs.empty()) {
            return;
        }
        if (pause(period)) {
            return;
        }
    } while (Clock::now() < deadline);
    utils::logWarning(std::to_string(jobs.size()) + " job(s) have not ended yet");
}

}  // namespace tarn::service
