#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <optional>
#include <string>

#include "platform/resource_manager/RunningJob.h"
#include "platform/socket/SocketTypes.h"
#include "proto/api_job.fwd.h"

namespace tarn::service {

/// How jobs are asked.
struct JobRequestOptions {
    std::string socketName;  ///< stands in front of what goes wrong
    socket::ClosePolicy closePolicy;
    std::uint32_t replyLimit;         ///< bytes
    std::chrono::milliseconds bound;  ///< for all jobs together
};

/// What a job answered; null, with the reason in `problem`, when it did not.
using TakeJobReply = std::function<void(const resource_manager::RunningJob& job,
                                        const tarn::proto::api_job::JobToApiReply* reply,
                                        const std::string& problem)>;

/// Sends all of the jobs the same request, in the order of the list and without waiting for any,
/// and then hands their answers over in that order. A job that is silent costs the others nothing:
/// all of it ends with the bound, and what has arrived by then counts, whoever else is silent.
///
/// Throws only what `take` throws.
void askJobs(const std::list<resource_manager::RunningJob>& jobs,
             const tarn::proto::api_job::ApiToJobRequest& request, const JobRequestOptions& options,
             const TakeJobReply& take);

}  // namespace tarn::service
