#include "platform/utils/log/StreamLogSink.h"

#include "platform/utils/log/LogLine.h"

namespace tarn::utils {

void StreamLogSink::write(LogLevel level, const std::string& message) {
    const auto line = logLine(level, message);
    const std::lock_guard lock(mutex);
    std::fwrite(line.data(), 1, line.size(), stream);
    std::fflush(stream);
}

}  // namespace tarn::utils
