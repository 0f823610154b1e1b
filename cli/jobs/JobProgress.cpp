#include "cli/jobs/JobProgress.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "cli/output/ClockTime.h"
#include "cli/output/TerminalText.h"
#include "proto/job_monitoring.pb.h"

namespace tarn::cli {

namespace {

constexpr std::size_t longestName = 24;
constexpr std::size_t narrowestBar = 5;
constexpr std::size_t widestBar = 50;

int percent(double fraction) {
    return static_cast<int>(std::floor(fraction * 100));
}

std::string bar(double fraction, std::size_t width) {
    const auto full = static_cast<std::size_t>(fraction * static_cast<double>(width));
    return "[" + std::string(full, '#') + std::string(width - full, '-') + "]";
}

// What stands behind the bar, or alone where there is none.
std::string numbers(const JobProgress& progress) {
    std::string text;
    if (progress.fraction) {
        text += fmt::format(" {:3} %", percent(*progress.fraction));
    }
    if (progress.position) {
        text += "  " + clockText(*progress.position);
        text += progress.duration ? " / " + clockText(*progress.duration) : "";
    }
    return text;
}

}  // namespace

JobProgress JobProgress::fromEvent(const proto::job_monitoring::JobEventProgress& event) {
    JobProgress progress;
    if (event.has_position_ns() && event.position_ns() >= 0) {
        progress.position = std::chrono::nanoseconds(event.position_ns());
    }
    if (event.has_duration_ns() && event.duration_ns() > 0) {
        progress.duration = std::chrono::nanoseconds(event.duration_ns());
    }
    if (event.has_fraction() && std::isfinite(event.fraction())) {
        progress.fraction = std::clamp(event.fraction(), 0.0, 1.0);
    }
    return progress;
}

std::string progressText(const std::string& name, const JobProgress& progress) {
    const std::string start = escapeForTerminal(name) + ":";
    if (!progress.fraction) {
        return progress.position ? start + " at " + clockText(*progress.position)
                                 : start + " playing";
    }
    std::string text = start + fmt::format(" {} %", percent(*progress.fraction));
    if (progress.position && progress.duration) {
        text += ", " + clockText(*progress.position) + " of " + clockText(*progress.duration);
    }
    return text;
}

std::string progressBar(const std::string& name, const JobProgress& progress, std::size_t width) {
    const std::size_t room = width > 0 ? width - 1 : 0;  // a full line would wrap
    std::string text = shorten(escapeForTerminal(name), longestName);
    const std::string end = numbers(progress);
    const std::size_t taken = columns(text) + columns(end) + 3;  // a blank and the brackets
    if (progress.fraction && taken + narrowestBar <= room) {
        text += " " + bar(*progress.fraction, std::min(room - taken, widestBar));
    }
    return shorten(text + end, room);
}

}  // namespace tarn::cli
