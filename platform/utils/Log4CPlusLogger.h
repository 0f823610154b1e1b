#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "platform/utils/Log.h"

namespace tarn::utils {

/// Sends the process's log through the log4cplus logger `loggerName`, configured from the property
/// file `configFilePath`. A missing or unreadable file means logging to the console (standard
/// error, from level info) and a warning there. Main thread, before other threads log; does not
/// throw.
void registerLog4CPlusLogger(const std::string& loggerName, const std::string& configFilePath);

/// A sink that writes to `path` and, when the file would grow over `maxBytes`, renames it to
/// `path`.1 (replacing an older one) and goes on with an empty file. Every level is written.
/// Throws std::runtime_error when the file cannot be opened.
std::shared_ptr<LogSink> makeRotatingFileSink(const std::string& path, std::size_t maxBytes);

/// Writes out and closes everything that log4cplus holds and discards later lines. Call once, last.
void shutdownLogging();

}  // namespace tarn::utils
