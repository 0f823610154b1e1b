#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/utils/Log.h"

namespace tarn::test {

/// Collects the process's log while it lives: "LEVEL message" lines in order.
/// Puts back the sink that was there before. Thread-safe.
class LogCapture {
  public:
    explicit LogCapture(utils::LogLevel lowest = utils::LogLevel::Trace);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<std::string> lines() const;

    /// Whether a line equals, or holds, this text, escaped as lines are.
    bool has(const std::string& line) const;
    bool contains(const std::string& part) const;

    /// Waits for a line that holds `part`; false when the bound passed without one.
    bool waitFor(const std::string& part,
                 std::chrono::milliseconds bound = std::chrono::seconds(10)) const;

  private:
    class Sink;
    std::shared_ptr<Sink> sink;
    std::shared_ptr<utils::LogSink> previous;
};

}  // namespace tarn::test
