#include "platform/utils/Log.h"

#include <utility>

#include "platform/utils/EscapedText.h"
#include "platform/utils/Secrets.h"
#include "platform/utils/Synchronised.h"

namespace tarn::utils {

namespace {

// Never destroyed: threads may still log while the process exits.
Synchronised<std::shared_ptr<LogSink>>& currentSink() {
    static auto* const sink = new Synchronised<std::shared_ptr<LogSink>>();
    return *sink;
}

// A copy, so that a slow sink is not written to under the lock.
std::shared_ptr<LogSink> enabledSink(LogLevel level) {
    auto sink = *currentSink().lock();
    return sink && sink->isEnabled(level) ? sink : nullptr;
}

// Secrets first: an escaped line end is no end any more.
std::string forReaders(const std::string& message) {
    const auto told = mayHoldSecrets(message) ? withoutSecrets(message) : message;
    return isPlainForLog(told) ? told : escapeForLog(told);
}

}  // namespace

std::shared_ptr<LogSink> setLogSink(std::shared_ptr<LogSink> sink) {
    std::swap(*currentSink().lock(), sink);
    return sink;
}

bool isLogEnabled(LogLevel level) {
    return enabledSink(level) != nullptr;
}

void log(LogLevel level, const std::string& message) {
    if (const auto sink = enabledSink(level)) {
        sink->write(level, forReaders(message));
    }
}

void logTrace(const std::string& message) {
    log(LogLevel::Trace, message);
}
void logDebug(const std::string& message) {
    log(LogLevel::Debug, message);
}
void logInfo(const std::string& message) {
    log(LogLevel::Info, message);
}
void logWarning(const std::string& message) {
    log(LogLevel::Warning, message);
}
void logError(const std::string& message) {
    log(LogLevel::Error, message);
}
void logFatal(const std::string& message) {
    log(LogLevel::Fatal, message);
}

std::string_view logLevelName(LogLevel level) {
    switch (level) {
        case LogLevel::Trace:
            return "TRACE";
        case LogLevel::Debug:
            return "DEBUG";
        case LogLevel::Info:
            return "INFO";
        case LogLevel::Warning:
            return "WARN";
        case LogLevel::Error:
            return "ERROR";
        case LogLevel::Fatal:
            return "FATAL";
    }
    return "FATAL";
}

}  // namespace tarn::utils
