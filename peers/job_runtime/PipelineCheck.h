#pragma once

#include <chrono>

#include "proto/pipeline_control.pb.h"

namespace tarn::peers {

class PipelineProcess;
class StopRequest;

/// Waits until the pipeline process reports `wanted`. Throws std::runtime_error when it reports a
/// failure (with that message), ends, or takes until `deadline`, and when a stop is wished.
void waitForReport(PipelineProcess& process,
                   tarn::proto::pipeline_control::PipelineReport::Type wanted,
                   std::chrono::steady_clock::time_point deadline, StopRequest& stop);

/// A warning of the pipeline, into the log.
void logWarningOf(const tarn::proto::pipeline_control::PipelineReport& report);

}  // namespace tarn::peers
