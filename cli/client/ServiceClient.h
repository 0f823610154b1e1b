#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "cli/client/RequestChannel.h"
#include "platform/socket/SocketEndpoint.h"
#include "proto/api_service.fwd.h"
#include "proto/deltacast_configuration.fwd.h"
#include "proto/loop_storage.fwd.h"
#include "proto/monitoring.fwd.h"

namespace tarn::cli {

/// The service's requests as functions. Used by one thread; opens nothing before the first request.
///
/// Every failure is a CommandError: NoAnswer when the time-out passes (some requests are left
/// unanswered by rule, such as a submission for which no endpoint is free) or nobody listens,
/// Failed when the service refuses or answers something else.
class ServiceClient {
  public:
    using Absence = RequestChannel::Absence;

    /// `timeout` bounds the wait for each answer; `absence` is for a service that is not there at
    /// the first request.
    ServiceClient(socket::SocketEndpoint endpoint, std::chrono::milliseconds timeout,
                  Absence absence = Absence::FailsAtOnce);

    proto::api_service::ServiceToApiReplyInfo info();

    /// The device tree from its root. The second form waits for `bound` instead of the time-out.
    proto::monitoring::DeviceNode deviceTree();
    proto::monitoring::DeviceNode deviceTree(std::chrono::milliseconds bound);

    /// Where the gateway publishes the service's events, unless it was told another place. Asks the
    /// service.
    socket::SocketEndpoint publishingEndpoint();

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

    /// What the loop storage answers to a request that it serves; what it does not is Failed, with
    /// its own reason.
    proto::loop_storage::Reply operateStorage(const proto::loop_storage::Request& operation);

    /// The capture format that the ingest service last said is in force, and how that is.
    proto::api_service::ServiceToApiReplyGetDeltacast capture();

    /// Success means accepted, not in force.
    void configureCapture(const proto::deltacast_configuration::DeltacastConfig& format);

    /// Where to reach an endpoint that the service gave out for a job. A job that listens on every
    /// interface ("tcp://*:port") of a server far away is on that server's address. Throws
    /// CommandError for bad text.
    socket::SocketEndpoint endpointOfJob(const std::string& text) const;

    std::chrono::milliseconds timeout() const { return defaultBound; }

    /// For a command that asks what no other does: a reply of this type.
    proto::api_service::ServiceToApiReply ask(
        const proto::api_service::ApiToServiceRequest& request, int replyType);

  private:
    proto::api_service::ServiceToApiReply ask(
        const proto::api_service::ApiToServiceRequest& request, int replyType,
        std::chrono::milliseconds bound);

    socket::SocketEndpoint reachable(const std::string& text, const std::string& whose) const;

    socket::SocketEndpoint endpoint;
    std::chrono::milliseconds defaultBound;
    RequestChannel channel;
};

}  // namespace tarn::cli
