#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

#include "platform/utils/Log.h"
#include "platform/utils/log/StreamLogSink.h"

namespace tarn::peers {

/// Writes log lines of every level to a file. When a line would make it larger than `maxBytes`, the
/// file becomes `path`.1, replacing an older one, and an empty one is begun. Others than its owner
/// and his group cannot read it. Thread-safe.
///
/// A launcher has this instead of the logging framework, whose library starts threads as it is
/// loaded: a process cannot detach by forking then.
class RotatingFileSink : public tarn::utils::LogSink {
  public:
    /// Appends. Throws std::runtime_error when the file cannot be opened.
    RotatingFileSink(std::string path, std::size_t maxBytes);
    ~RotatingFileSink() override;

    bool isEnabled(tarn::utils::LogLevel) const override { return true; }
    void write(tarn::utils::LogLevel level, const std::string& message) override;

  private:
    bool open(const char* mode);
    void rotate();

    const std::string path;
    const std::size_t maxBytes;
    std::mutex mutex;  // guards what follows
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file{nullptr, std::fclose};
    std::unique_ptr<tarn::utils::StreamLogSink> lines;  // of the file; null without one
};

}  // namespace tarn::peers
