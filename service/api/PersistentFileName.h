#pragma once

#include <ctime>
#include <string>

namespace tarn::service {

/// "20240305-140709_cam1": the local time of `now`, "unk" when it cannot be told, and the job's
/// name, fit for a file: what a file name cannot hold becomes "_", and what is too long is cut.
std::string stampedFileName(std::time_t now, const std::string& jobName);

/// Why a name that a client gave cannot be a file of the persistent jobs folder; empty when it can.
/// Names that begin with a dot are kept for what is no job there, such as files that are not
/// complete yet.
std::string fileNameProblem(const std::string& fileName);

}  // namespace tarn::service
