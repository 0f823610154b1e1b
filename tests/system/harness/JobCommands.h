#pragma once

#include <optional>
#include <string>

#include "proto/api_job.pb.h"

namespace tarn::test {

/// Commands to a job, each over a connection of its own.
class JobCommands {
  public:
    using Status = proto::api_job::JobToApiReplyStatus;

    enum class End {
        UntilNextStart,  ///< of the service, if the job is persistent
        ForGood,
    };

    explicit JobCommands(std::string commandEndpoint) : endpoint(std::move(commandEndpoint)) {}

    /// Nothing when it does not answer.
    std::optional<Status> status() const;

    /// False when it does not answer or refuses.
    bool destroy(End end) const;

  private:
    std::optional<proto::api_job::JobToApiReply> ask(
        const proto::api_job::ApiToJobRequest& request) const;

    const std::string endpoint;
};

}  // namespace tarn::test
