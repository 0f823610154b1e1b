#pragma once

#include <chrono>
#include <string>

#include "platform/utils/Synchronised.h"
#include "proto/api_job.pb.h"

namespace tarn::peers {

/// What a job answers about itself. Written by the thread that supervises it, read by the one that
/// serves commands.
class JobStatus {
  public:
    using Reply = tarn::proto::api_job::JobToApiReplyStatus;

    JobStatus() : since(std::chrono::steady_clock::now()) {}

    /// Calls `change` with the status, alone.
    template <typename Change>
    void update(Change change) {
        auto locked = reply.lock();
        change(*locked);
    }

    /// As of now.
    Reply snapshot();

  private:
    const std::chrono::steady_clock::time_point since;
    tarn::utils::Synchronised<Reply> reply;
};

}  // namespace tarn::peers
