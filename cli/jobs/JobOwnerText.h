#pragma once

#include <string>

#include "proto/api_service.fwd.h"

namespace tarn::cli {

/// Whose a job is: a user's name, or his number where he has none here; the key of a client on
/// another machine; empty for nobody's.
std::string ownerText(const proto::api_service::RunningJob& job);

}  // namespace tarn::cli
