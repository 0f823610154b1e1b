#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "cli/RequestChannel.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::proto::api_service {
class ApiToServiceRequest;
class ApiToServiceRequestEngineSubmission;
class ApiToServiceRequestGetJobs;
class ApiToServiceRequestJobSubmission;
class RunningJob;
class ServiceToApiReply;
class ServiceToApiReplyEngineSubmission;
class ServiceToApiReplyInfo;
class ServiceToApiReplyJobSubmission;
}  // namespace tarn::proto::api_service

namespace tarn::cli {

/// The service's requests as functions. Used by one thread; opens nothing before the first request.
///
/// Every failure is a CommandError: NoAnswer when the time-out passes (some requests are left
/// unanswered by rule, such as a submission for which no endpoint is free), Failed when the service
/// refuses or answers something else.
class ServiceClient {
  public:
    /// `timeout` bounds the wait for each answer.
    ServiceClient(socket::SocketEndpoint endpoint, std::chrono::milliseconds timeout);

    proto::api_service::ServiceToApiReplyInfo info();

    /// In the service's order.
    std::vector<proto::api_service::RunningJob> jobs(
        const proto::api_service::ApiToServiceRequestGetJobs& filter);
    std::vector<proto::api_service::RunningJob> jobs();

    /// Nothing when no such job runs. The second form waits for `bound` instead of the time-out.
    std::optional<proto::api_service::RunningJob> findJob(const std::string& id);
    std::optional<proto::api_service::RunningJob> findJob(const std::string& id,
                                                          std::chrono::milliseconds bound);

    /// The service answers before it launches: success means accepted, not started.
    proto::api_service::ServiceToApiReplyJobSubmission submitJob(
        const proto::api_service::ApiToServiceRequestJobSubmission& submission);
    proto::api_service::ServiceToApiReplyEngineSubmission submitEngine(
        const proto::api_service::ApiToServiceRequestEngineSubmission& submission);

    /// Where to reach an endpoint that the service gave out for a job. A job that listens on every
    /// interface ("tcp://*:port") of a server far away is on that server's address. Throws
    /// CommandError for bad text.
    socket::SocketEndpoint endpointOfJob(const std::string& text) const;

    std::chrono::milliseconds timeout() const { return defaultBound; }

  private:
    proto::api_service::ServiceToApiReply ask(
        const proto::api_service::ApiToServiceRequest& request, int replyType);
    proto::api_service::ServiceToApiReply ask(
        const proto::api_service::ApiToServiceRequest& request, int replyType,
        std::chrono::milliseconds bound);

    socket::SocketEndpoint endpoint;
    std::chrono::milliseconds defaultBound;
    RequestChannel channel;
};

}  // namespace tarn::cli
