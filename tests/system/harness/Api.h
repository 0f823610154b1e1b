#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/socket/Socket.h"
#include "proto/api_service.pb.h"

namespace tarn::test {

/// What a client orders.
struct JobOrder {
    std::string pipeline;
    std::string id = {};  ///< empty: a new UUID
    std::string name = "a job";
    std::map<std::string, std::vector<std::string>> properties = {};
    bool persistent = false;
    std::string persistentName = {};
};

/// What the service says of a new or a running job.
struct JobAddress {
    std::string id;
    std::string commandEndpoint;
    std::string eventEndpoint;
};

/// A client of the service. Nothing where no answer came.
class Api {
  public:
    using Request = proto::api_service::ApiToServiceRequest;
    using Reply = proto::api_service::ServiceToApiReply;
    static constexpr std::chrono::milliseconds patience = std::chrono::seconds(10);

    explicit Api(const std::string& endpoint = "ipc:///tmp/requests");

    void send(const Request& request);
    /// Waits for an answer to what was sent.
    std::optional<Reply> receive(std::chrono::milliseconds bound = patience);
    std::optional<Reply> ask(const Request& request, std::chrono::milliseconds bound = patience);

    std::optional<proto::api_service::ServiceToApiReplyInfo> info();
    std::optional<JobAddress> submit(const JobOrder& order);
    std::optional<std::vector<JobAddress>> jobs();
    std::optional<std::vector<JobAddress>> jobs(const std::string& property,
                                                const std::string& value);
    std::optional<proto::api_service::ServiceToApiReplyGetJobByUuid> job(const std::string& id);

  private:
    socket::Socket socket;
};

Api::Request requestOfType(proto::api_service::ApiToServiceRequest::ApiToServiceRequestType type);
Api::Request submissionOf(const JobOrder& order);

}  // namespace tarn::test
