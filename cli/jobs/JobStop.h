#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/ExitStatus.h"
#include "cli/jobs/JobClient.h"
#include "proto/api_service.fwd.h"

namespace tarn::cli {

class ServiceClient;

/// What became of the order to one job.
struct StopResult {
    enum class State { Stopping, Stopped, Failed };

    std::string id;
    State state = State::Stopping;
    ExitStatus status = ExitStatus::Done;  ///< otherwise than Done for Failed
    std::string error;                     ///< for Failed, why
};

/// Tells all of them to end, many at once, so that one that stays silent holds up no other. Those
/// that took the order are Stopping. In the order of the jobs.
std::vector<StopResult> tellToStop(const ServiceClient& service,
                                   const std::vector<proto::api_service::RunningJob>& jobs,
                                   StopOption option);

/// Waits until those that are Stopping have left the service's list, for ten seconds at most: they
/// are Stopped then, or Failed. CommandError when the service does not answer.
void waitUntilGone(ServiceClient& service, std::vector<StopResult>& results);

}  // namespace tarn::cli
