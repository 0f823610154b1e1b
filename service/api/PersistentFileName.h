#pragma once

#include <ctime>
#include <string>

namespace tarn::service {

/// "20240305-140709_cam1": the local time of `now`, "unk" when it cannot be told, and the job's
/// name.
std::string stampedFileName(std::time_t now, const std::string& jobName);

/// Why a name that a client gave cannot be a file of the persistent jobs folder; empty when it can.
std::string fileNameProblem(const std::string& fileName);

}  // namespace tarn::service
