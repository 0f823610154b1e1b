#pragma once

#include <cstddef>
#include <string>

#include "proto/service_job.pb.h"

namespace tarn::benchmarks {

/// Costs next to nothing while it plays.
inline constexpr auto lightPipeline =
    "videotestsrc is-live=true ! video/x-raw,width=32,height=24,framerate=1/1 ! fakesink";

/// The setup of a new job with endpoints of its own.
proto::service_job::ServiceToJobRequest newSetup();

/// A file from which the service starts a job.
void writePersistentJob(const std::string& path);

/// Until the service lists so many jobs and each says that it plays; throws std::runtime_error
/// when that takes two minutes.
void waitUntilPlaying(std::size_t jobs);

}  // namespace tarn::benchmarks
