#include "platform/utils/log/LogLine.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace tarn::utils {

std::string logLine(LogLevel level, const std::string& message) {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto millis =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() %
        1000;
    std::tm local{};
    ::localtime_r(&seconds, &local);
    std::array<char, 32> stamp{};
    std::strftime(stamp.data(), stamp.size(), "%Y-%m-%d %H:%M:%S", &local);
    std::array<char, 64> head{};
    std::snprintf(head.data(), head.size(), "%s,%03d %-5s ", stamp.data(), static_cast<int>(millis),
                  logLevelName(level).data());
    return head.data() + message + "\n";
}

}  // namespace tarn::utils
