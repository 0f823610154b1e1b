#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/utils/Synchronised.h"
#include "proto/api_job.pb.h"
#include "proto/api_service.pb.h"
#include "proto/job_monitoring.pb.h"
#include "tests/support/peers/Responder.h"

namespace tarn::socket {
class Socket;
}

namespace tarn::test {

/// A running job as its clients see it: answers commands, and publishes one event over and over, so
/// that it does not matter when somebody subscribes. Thread-safe.
class FakeJob {
  public:
    FakeJob(const std::string& id, const std::string& name);
    ~FakeJob();

    const proto::api_service::RunningJob& entry() const { return job; }

    /// Publishes this from now on, with the job's id unless it has one.
    void publishes(proto::job_monitoring::JobEvent event);

    /// Names this log file in its status.
    void keepsLog(const std::string& file);

    /// Answers every command with this instead.
    void refuses(const std::string& reason);
    void answersGarbage();
    void staysSilent();

    /// Called on the job's thread when it is to be destroyed.
    void whenDestroyed(std::function<void()> action);

    std::vector<proto::api_job::ApiToJobRequest> requests() const;

  private:
    enum class Manner { Normal, Refusing, Garbage, Silent };
    struct State {
        Manner manner = Manner::Normal;
        std::string reason;
        std::string logFile = "/var/log/tarn/job.log";
        std::vector<proto::api_job::ApiToJobRequest> requests;
        std::unique_ptr<proto::job_monitoring::JobEvent> event;
        std::function<void()> onDestroy;
    };

    Responder::MessagePointer answer(const proto::api_job::ApiToJobRequest& request);
    void publish();

    const proto::api_service::RunningJob job;
    mutable utils::Synchronised<State> state;
    std::unique_ptr<socket::Socket> events;
    Responder responder;
};

/// A running job's entry in the service's list, with endpoints of its own.
proto::api_service::RunningJob runningJob(const std::string& id, const std::string& name);

/// Events, by what they say.
proto::job_monitoring::JobEvent progressEvent(double fraction);
proto::job_monitoring::JobEvent stateEvent(proto::job_monitoring::JobState state);
proto::job_monitoring::JobEvent failureEvent(const std::string& message);
proto::job_monitoring::JobEvent endEvent(proto::job_monitoring::JobEventEnd::Reason reason);
proto::job_monitoring::JobEvent endBySignal(int signal);

}  // namespace tarn::test
