#pragma once

#include <string>
#include <vector>

#include "proto/api_service.fwd.h"

namespace CLI {
class App;
}

namespace tarn::cli {

class ServiceClient;

/// The job that a command is about.
void addJobOption(CLI::App& line, std::string& idOrPrefix);

/// The job that an operator means: the one with this id, else the only one whose id begins with
/// this text, which then is at least 4 characters. CommandError when there is none, or several.
const proto::api_service::RunningJob& selectJob(
    const std::vector<proto::api_service::RunningJob>& jobs, const std::string& idOrPrefix);

/// The same among the jobs that run now.
proto::api_service::RunningJob selectRunningJob(ServiceClient& service,
                                                const std::string& idOrPrefix);

}  // namespace tarn::cli
