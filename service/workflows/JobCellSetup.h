#pragma once

#include <map>
#include <string>
#include <vector>

#include "proto/service.fwd.h"

namespace tarn::service::configuration {
struct JobCellSettings;
}

namespace tarn::service {

/// What a job's setup says of its cell: what the configuration says, and less where the job's
/// properties "MemoryMiB", "Processes" or "Descriptors" ask for less. What they ask for beyond is
/// not given, and is what is returned, for people; empty when there is nothing of the kind.
std::string describeCell(const configuration::JobCellSettings& settings,
                         const std::map<std::string, std::vector<std::string>>& properties,
                         tarn::service::proto::JobCell& cell);

}  // namespace tarn::service
