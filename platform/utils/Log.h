#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace tarn::utils {

enum class LogLevel { Trace, Debug, Info, Warning, Error, Fatal };

/// Where log lines go. One sink serves the whole process.
/// Both operations are called from any thread, also at the same time, and must not throw.
class LogSink {
  public:
    virtual ~LogSink() = default;
    virtual bool isEnabled(LogLevel level) const = 0;
    virtual void write(LogLevel level, const std::string& message) = 0;
};

/// Makes `sink` the destination of all further lines and returns the one before it; a null sink
/// discards everything, and is what a process starts with. Any thread; a line that another thread
/// is writing at this moment still goes to the old sink, which lives until then.
std::shared_ptr<LogSink> setLogSink(std::shared_ptr<LogSink> sink);

/// Whether a line of this level would be written: ask before building a costly text.
bool isLogEnabled(LogLevel level);

/// Write one line, without secrets (see withoutSecrets) and escaped by escapeForLog: once, for
/// every sink. Any thread; never throw.
void log(LogLevel level, const std::string& message);
void logTrace(const std::string& message);
void logDebug(const std::string& message);
void logInfo(const std::string& message);
void logWarning(const std::string& message);
void logError(const std::string& message);
void logFatal(const std::string& message);

/// "TRACE", "DEBUG", "INFO", "WARN", "ERROR" or "FATAL".
std::string_view logLevelName(LogLevel level);

}  // namespace tarn::utils
