#include "platform/utils/log/ConsoleLogSink.h"

#include <unistd.h>

#include "platform/utils/log/LogLine.h"

namespace tarn::utils {

ConsoleLogSink::ConsoleLogSink(LogLevel lowest) : lowest(lowest), output(STDERR_FILENO) {}

void ConsoleLogSink::write(LogLevel level, const std::string& message) {
    output.write(logLine(level, message));
}

}  // namespace tarn::utils
