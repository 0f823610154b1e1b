#include "service/runtime/JobTermination.h"

#include <algorithm>
#include <list>
#include <string>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/socket/Socket.h"
#include "platform/utils/Log.h"
#include "proto/api_job.pb.h"

namespace tarn::service {

namespace {

using tarn::proto::api_job::ApiToJobRequest;
using tarn::proto::api_job::ApiToJobRequestDestroy;
using tarn::proto::api_job::JobToApiReply;

constexpr std::uint32_t replyLimit = 65536;

void sendDestroy(const std::string& commandEndpoint, std::chrono::milliseconds bound) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    socket::Socket socket("Job termination", socket::ClosePolicy::Flush);
    socket.setTimeout(bound);
    socket.createAndConnect(socket::Protocol::Request,
                            socket::SocketEndpoint::FromString(commandEndpoint).asPeer(), 0);
    ApiToJobRequest request;
    request.set_type(ApiToJobRequest::DESTROY);
    request.MutableExtension(ApiToJobRequestDestroy::base)->set_destroy_option(false);
    socket.sendProtoBuf(&request);

    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    socket.setTimeout(std::max(left, std::chrono::milliseconds(1)));
    JobToApiReply reply;
    socket.receiveProtoBuf(&reply, replyLimit);
    if (utils::isLogEnabled(utils::LogLevel::Trace)) {
        utils::logTrace("Received reply: " + reply.DebugString());
    }
}

}  // namespace

void terminateJobs(resource_manager::ResourceManagerProxy& resourceManager,
                   std::chrono::milliseconds boundPerJob) {
    std::list<resource_manager::RunningJob> jobs;
    std::string error;
    if (!resourceManager.getRunningJobs(jobs, error)) {
        utils::logError("Failed to get running jobs: " + error);
    }
    for (const auto& job : jobs) {
        try {
            sendDestroy(job.getCommandEndpoint(), boundPerJob);
        } catch (const std::exception& e) {
            utils::logError(std::string("Failed destroy command to job: ") + e.what());
        }
    }
}

}  // namespace tarn::service
