#pragma once

#include "platform/access/Gatekeeper.h"
#include "platform/access/Owner.h"
#include "platform/socket/RequestThread.h"
#include "platform/socket/SocketEndpoint.h"
#include "proto/api_job.fwd.h"

namespace tarn::peers {

class JobStatus;
class Persistence;
class StopRequest;

/// Answers a job's commands on a thread of its own, so that a client is answered at once whatever
/// the job is doing. Who may look may ask for its status; it is ended by its owner, if he may
/// operate, and by who administrates. The thread ends with the object.
class CommandServer {
  public:
    /// Binds; throws std::runtime_error. The references must outlive the object.
    CommandServer(const tarn::socket::SocketEndpoint& endpoint, access::Owner owner,
                  JobStatus& status, StopRequest& stop, Persistence& persistence);

  private:
    using Request = tarn::proto::api_job::ApiToJobRequest;
    using Reply = tarn::proto::api_job::JobToApiReply;

    Reply answerTo(const Request& request, const tarn::socket::Peer& sender);
    access::Level levelFor(const Request& request, const tarn::socket::Peer& sender) const;
    Reply destroy(const Request& request);
    bool forget();

    const access::Owner owner;
    access::Gatekeeper gatekeeper{""};
    JobStatus& status;
    StopRequest& stop;
    Persistence& persistence;
    tarn::socket::RequestThread thread;  // last: ends before what it uses
};

}  // namespace tarn::peers
