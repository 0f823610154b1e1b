#pragma once

#include <atomic>
#include <chrono>
#include <ctime>
#include <string>

#include "platform/socket/Socket.h"
#include "proto/api_service.pb.h"
#include "service/api/ApiToServiceRequestHandler.h"
#include "tests/service/support/ServiceBed.h"

namespace tarn::test {

using tarn::proto::api_service::ApiToServiceRequest;
using tarn::proto::api_service::ServiceToApiReply;

/// An API server of its own with a client connected to it.
class ApiBed : public ServiceBed {
    std::chrono::steady_clock::time_point now{};  // the server looks at it as long as it lives

  public:
    explicit ApiBed(const std::string& sections = {});

    /// Starts the server on `requests` and connects the client.
    void start();
    void start(const std::string& requestsEndpoint);

    /// Sends a request and returns the answer; throws when none comes within the bound.
    ServiceToApiReply ask(const ApiToServiceRequest& request);
    ServiceToApiReply ask(ApiToServiceRequest::ApiToServiceRequestType type);
    void send(const ApiToServiceRequest& request);

    /// Waits until everything sent so far was dealt with, by a request that is answered.
    void settle();

    const std::string endpoint = uniqueEndpoint();
    std::atomic<std::chrono::seconds> clockStep{std::chrono::seconds(0)};  ///< added at each look
    std::atomic<std::time_t> wallClock{0};
    std::atomic<int> reachable{0};  ///< how often the server said so
    std::atomic<int> rounds{0};     ///< of its loop
    service::ApiToServiceRequestHandler server;
    socket::Socket client{"client", socket::ClosePolicy::Discard};
};

}  // namespace tarn::test
