#pragma once

#include "platform/socket/RequestThread.h"
#include "platform/socket/SocketEndpoint.h"
#include "proto/api_job.fwd.h"

namespace tarn::peers {

class JobStatus;
class Persistence;
class StopRequest;

/// Answers a job's commands on a thread of its own, so that a client is answered at once whatever
/// the job is doing. The thread ends with the object.
class CommandServer {
  public:
    /// Binds; throws std::runtime_error. The references must outlive the object.
    CommandServer(const tarn::socket::SocketEndpoint& endpoint, JobStatus& status,
                  StopRequest& stop, Persistence& persistence);

  private:
    using Request = tarn::proto::api_job::ApiToJobRequest;
    using Reply = tarn::proto::api_job::JobToApiReply;

    Reply answerTo(const Request& request);
    Reply destroy(const Request& request);
    bool forget();

    JobStatus& status;
    StopRequest& stop;
    Persistence& persistence;
    tarn::socket::RequestThread thread;  // last: ends before what it uses
};

}  // namespace tarn::peers
