#pragma once

#include <string>

namespace tarn::utils {

/// Sends the process's log through the log4cplus logger `loggerName`, configured from the property
/// file `configFilePath`. A missing or unreadable file means logging to the console (standard
/// error, from level info) and a warning there. Main thread, before other threads log; does not
/// throw.
void registerLog4CPlusLogger(const std::string& loggerName, const std::string& configFilePath);

}  // namespace tarn::utils
