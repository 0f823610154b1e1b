#pragma once

#include "platform/utils/Log.h"
#include "platform/utils/log/ConsoleOutput.h"

namespace tarn::utils {

/// Log lines to standard error, for programs without a logging framework. A reader who is slow, or
/// does not read at all, holds nobody up: see ConsoleOutput. Any thread.
class ConsoleLogSink : public LogSink {
  public:
    explicit ConsoleLogSink(LogLevel lowest);

    bool isEnabled(LogLevel level) const override { return level >= lowest; }
    void write(LogLevel level, const std::string& message) override;

  private:
    const LogLevel lowest;
    ConsoleOutput output;
};

}  // namespace tarn::utils
