#include "service/runtime/shutdown/JobTermination.h"

#include <list>
#include <string>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/utils/Log.h"
#include "proto/api_job.pb.h"
#include "service/workflows/JobRequests.h"

namespace tarn::service {

namespace {

using resource_manager::RunningJob;
using tarn::proto::api_job::ApiToJobRequest;
using tarn::proto::api_job::ApiToJobRequestDestroy;
using tarn::proto::api_job::JobToApiReply;

constexpr std::uint32_t replyLimit = 65536;

ApiToJobRequest destroyRequest() {
    ApiToJobRequest request;
    request.set_type(ApiToJobRequest::DESTROY);
    request.MutableExtension(ApiToJobRequestDestroy::base)->set_destroy_option(false);
    return request;
}

void logReply(const JobToApiReply* reply, const std::string& problem) {
    if (reply == nullptr) {
        utils::logError("Failed destroy command to job: " + problem);
    } else if (utils::isLogEnabled(utils::LogLevel::Trace)) {
        utils::logTrace("Received reply: " + reply->DebugString());
    }
}

}  // namespace

void terminateJobs(resource_manager::ResourceManagerProxy& resourceManager,
                   std::chrono::milliseconds bound, RegistryKeeper keeper) {
    std::list<RunningJob> jobs;
    std::string error;
    if (!resourceManager.getRunningJobs(jobs, error)) {
        utils::logError("Failed to get running jobs: " + error);
    }
    if (keeper == RegistryKeeper::AnotherService && !jobs.empty()) {
        utils::logInfo("Another service keeps the registry: its " + std::to_string(jobs.size()) +
                       " running job(s) are left alone");
        return;
    }
    askJobs(jobs, destroyRequest(),
            {"Job termination", socket::ClosePolicy::Flush, replyLimit, bound},
            [](const RunningJob&, const JobToApiReply* reply, const std::string& problem) {
                logReply(reply, problem);
            });
}

}  // namespace tarn::service
