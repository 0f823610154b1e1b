#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "peers/job_runtime/RunResult.h"
#include "platform/socket/Socket.h"
#include "platform/socket/SocketEndpoint.h"
#include "proto/job_monitoring.pb.h"

namespace tarn::peers {

/// Publishes a job's events. A failure to do so is logged and is no reason for the job to end.
/// One thread at a time.
class EventPublisher {
  public:
    /// Binds; throws std::runtime_error.
    EventPublisher(const tarn::socket::SocketEndpoint& endpoint, std::string jobId);

    void state(tarn::proto::job_monitoring::JobState state);
    void progress(const tarn::proto::job_monitoring::JobEventProgress& progress);
    void failure(const std::string& message, const std::string& detail);
    void end(const RunResult& result);

    /// Lets out what was published and gives the endpoint back.
    void close();

  private:
    tarn::proto::job_monitoring::JobEvent makeEvent(
        tarn::proto::job_monitoring::JobEvent::Type type) const;
    void send(const tarn::proto::job_monitoring::JobEvent& event);

    const std::string jobId;
    tarn::socket::Socket socket;
};

}  // namespace tarn::peers
