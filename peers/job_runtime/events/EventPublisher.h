#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "peers/job_runtime/pipeline/RunResult.h"
#include "platform/socket/Socket.h"
#include "platform/socket/SocketEndpoint.h"
#include "proto/job_monitoring.pb.h"

namespace tarn::peers {

/// Publishes a job's events. A failure to do so is logged and is no reason for the job to end.
/// One thread at a time.
class EventPublisher {
  public:
    using Clock = std::chrono::steady_clock;

    /// Binds; throws std::runtime_error.
    EventPublisher(const tarn::socket::SocketEndpoint& endpoint, std::string jobId);

    /// `content` is a message that extends JobEvent by its `base`; no secret may be in it.
    template <typename Content>
    void tell(tarn::proto::job_monitoring::JobEvent::Type type, const Content& content) {
        auto event = makeEvent(type);
        *event.MutableExtension(Content::base) = content;
        send(event);
    }

    void failure(const std::string& message, const std::string& detail);

    /// The last event. Until `until` it is published again for each one who subscribes: those who
    /// were there before see it twice then.
    void end(const RunResult& result, Clock::time_point until);

    /// Whether anybody has ever subscribed.
    bool hasSubscriber() { return awaitSubscriber(Clock::now()); }
    /// The same, waiting for one.
    bool awaitSubscriber(Clock::time_point until);

    /// Lets out what was published and gives the endpoint back.
    void close();

  private:
    tarn::proto::job_monitoring::JobEvent makeEvent(
        tarn::proto::job_monitoring::JobEvent::Type type) const;
    void send(const tarn::proto::job_monitoring::JobEvent& event);
    bool awaitNewSubscriber(Clock::time_point until);

    const std::string jobId;
    tarn::socket::Socket socket;
    bool somebodyCame = false;
};

}  // namespace tarn::peers
