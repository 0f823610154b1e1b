#pragma once

#include <google/protobuf/message.h>

#include <string>

#include "proto/api_job.pb.h"
#include "proto/service_job.pb.h"

namespace tarn::test {

/// Sends `request` to `endpoint` and returns the answer; throws std::runtime_error without one.
void ask(const std::string& endpoint, const google::protobuf::Message& request,
         google::protobuf::Message& reply);

tarn::proto::service_job::JobToServiceReply setUp(
    const std::string& endpoint, const tarn::proto::service_job::ServiceToJobRequest& request);

/// What a client sends to a running job.
class JobClient {
  public:
    using Reply = tarn::proto::api_job::JobToApiReply;
    using Status = tarn::proto::api_job::JobToApiReplyStatus;

    enum class End { UntilNextStart, ForGood };

    explicit JobClient(std::string commandEndpoint) : endpoint(std::move(commandEndpoint)) {}

    Reply command(tarn::proto::api_job::ApiToJobRequest::Type type) const;
    Status status() const;
    Reply destroy(End end = End::UntilNextStart) const;

  private:
    const std::string endpoint;
};

}  // namespace tarn::test
