#pragma once

#include <string>
#include <vector>

#include "proto/api_service.fwd.h"

namespace tarn::cli {

/// A job as it is described on the command line. Empty text means not given.
struct JobSubmission {
    std::string id;
    std::string name;
    std::string pipeline;
    std::vector<std::string> properties;  ///< each "K=V"
    bool persistent = false;
    std::string persistentName;
};

proto::api_service::ApiToServiceRequestJobSubmission toMessage(const JobSubmission& job);

/// Checks of single options: the complaint, or empty text for a good value.
std::string checkUuid(const std::string& text);
/// A plain file name that does not begin with a dot: the service would launch the job as not
/// persistent for any other.
std::string checkFileName(const std::string& text);

}  // namespace tarn::cli
