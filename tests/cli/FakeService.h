#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/utils/Synchronised.h"
#include "proto/api_service.pb.h"
#include "tests/support/peers/FakeJob.h"
#include "tests/support/peers/Responder.h"

namespace tarn::test {

/// The service as tarnctl sees it. Thread-safe.
class FakeService {
  public:
    using Request = proto::api_service::ApiToServiceRequest;
    using Reply = proto::api_service::ServiceToApiReply;
    using Answer = std::function<Responder::MessagePointer(const Request&)>;

    FakeService();

    const std::string& endpoint() const { return address; }

    /// Puts a job into the list of running jobs, or takes it out.
    void runs(const proto::api_service::RunningJob& job);
    void runsNoMore(const std::string& id);

    /// A submitted job appears in the list at once, or never; by default never.
    void launches(const proto::api_service::RunningJob& endpointsOfNextJob);
    void launchesNothing(const proto::api_service::RunningJob& endpointsOfNextJob);

    /// What it says of its devices, and of where it sends events.
    void watches(const proto::monitoring::DeviceNode& tree);
    void sendsEventsTo(const std::string& endpoint);

    /// Answers this kind of request otherwise than usual.
    void answers(Request::ApiToServiceRequestType type, Answer answer);
    void staysSilent();

    /// What was received so far.
    std::vector<Request> requests() const;
    Request lastRequest() const { return requests().back(); }

  private:
    enum class Launch { Works, Fails };
    struct State {
        std::vector<proto::api_service::RunningJob> jobs;
        std::vector<Request> requests;
        std::vector<std::pair<int, Answer>> answers;
        proto::api_service::RunningJob nextJob;
        proto::monitoring::DeviceNode tree;
        std::string eventsEndpoint = "ipc:///tmp/events";
        Launch launch = Launch::Fails;
        bool silent = false;
    };

    Responder::MessagePointer answer(const Request& request);
    static void answerUsually(State& state, const Request& request, Reply& reply);

    const std::string address = newEndpoint();
    mutable utils::Synchronised<State> state;
    Responder responder;
};

}  // namespace tarn::test
