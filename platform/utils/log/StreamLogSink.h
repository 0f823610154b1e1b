#pragma once

#include <cstdio>
#include <mutex>

#include "platform/utils/Log.h"

namespace tarn::utils {

/// Writes "2026-11-21 10:00:00,123 INFO  message" lines to a C stream and flushes after each.
/// Thread-safe. The stream is the caller's and must outlive the sink.
class StreamLogSink : public LogSink {
  public:
    StreamLogSink(std::FILE* stream, LogLevel lowest) : stream(stream), lowest(lowest) {}

    bool isEnabled(LogLevel level) const override { return level >= lowest; }
    void write(LogLevel level, const std::string& message) override;

  private:
    std::mutex mutex;  // one line at a time
    std::FILE* const stream;
    const LogLevel lowest;
};

}  // namespace tarn::utils
