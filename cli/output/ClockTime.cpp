#include "cli/output/ClockTime.h"

#include <fmt/format.h>

#include <ctime>

namespace tarn::cli {

std::string clockTime(std::chrono::system_clock::time_point time) {
    using namespace std::chrono;
    const auto sinceEpoch = floor<milliseconds>(time.time_since_epoch());
    const std::time_t seconds = floor<std::chrono::seconds>(sinceEpoch).count();
    std::tm local{};
    ::localtime_r(&seconds, &local);
    return fmt::format("{:02}:{:02}:{:02}.{:03}", local.tm_hour, local.tm_min, local.tm_sec,
                       (sinceEpoch % 1000ms).count());
}

std::string clockText(std::chrono::nanoseconds time) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time).count();
    const auto minutes = seconds / 60;
    if (minutes < 60) {
        return fmt::format("{}:{:02}", minutes, seconds % 60);
    }
    return fmt::format("{}:{:02}:{:02}", minutes / 60, minutes % 60, seconds % 60);
}

}  // namespace tarn::cli
