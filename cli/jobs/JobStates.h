#pragma once

#include <string>
#include <vector>

#include "proto/api_service.fwd.h"

namespace tarn::cli {

class ServiceClient;

/// The state that each of the jobs answers when it is asked, in the same order; "no answer" for one
/// that stays silent. They are asked at the same time, so that a silent one costs no more than a
/// second, or the service client's time-out where that is shorter.
std::vector<std::string> askForStates(const ServiceClient& service,
                                      const std::vector<proto::api_service::RunningJob>& jobs);

}  // namespace tarn::cli
