#pragma once

#include <string>

#include "platform/utils/UuidGenerator.h"
#include "proto/api_job.pb.h"

namespace tarn::benchmarks {

/// A job of the running service. Its pipeline plays until it is destroyed.
struct BenchmarkJob {
    static constexpr auto pipeline = "videotestsrc is-live=true ! fakesink";

    std::string id = utils::UuidGenerator::Generate();
    std::string commandEndpoint;

    // All throw std::runtime_error.
    static BenchmarkJob submit();
    void waitUntilPlaying() const;
    void destroy() const;

  private:
    proto::api_job::JobToApiReply command(proto::api_job::ApiToJobRequest::Type type) const;
};

}  // namespace tarn::benchmarks
