#pragma once

#include <chrono>

#include "cli/client/RequestChannel.h"
#include "proto/api_job.fwd.h"

namespace tarn::cli {

/// How a job ends that somebody stops.
enum class StopOption {
    UntilNextStart,  ///< a persistent job is started again with the service
    ForGood,
};

/// Commands to one job. Failures as in RequestChannel, and Failed when the job refuses. A job that
/// is listed may not listen yet: it is waited for.
class JobClient {
  public:
    JobClient(const socket::SocketEndpoint& commandEndpoint, std::chrono::milliseconds timeout);

    proto::api_job::JobToApiReplyStatus status();

    /// Returns when the job has accepted; it ends a little later.
    void destroy(StopOption option);

    /// The halves of destroy and of status, for asking many jobs at once.
    void sendDestroyRequest(StopOption option);
    void receiveDestroyed();
    void sendStatusRequest();
    proto::api_job::JobToApiReplyStatus receiveStatus();

  private:
    void receive(proto::api_job::JobToApiReply& reply, int type);

    RequestChannel channel;
    std::chrono::milliseconds timeout;
};

}  // namespace tarn::cli
