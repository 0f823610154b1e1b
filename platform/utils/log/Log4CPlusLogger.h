#pragma once

#include <string>

namespace tarn::utils {

/// Sends the process's log through the log4cplus logger `loggerName`, configured from the property
/// file `configFilePath`. A missing or unreadable file means logging to the console (standard
/// error, from level info) and a warning there. Main thread, before other threads log; does not
/// throw. Nobody who logs waits for the reader of the console: see ConsoleOutput.
void registerLog4CPlusLogger(const std::string& loggerName, const std::string& configFilePath);

/// Ends the log of a process that is about to end without the end of its main thread: what waits
/// for the console's reader is let out as ConsoleOutput does. Lines that come later go nowhere.
void closeLog4CPlusLogger();

}  // namespace tarn::utils
