#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "proto/job_monitoring.fwd.h"

namespace tarn::cli {

/// How far a job is; what it does not say, or what makes no sense, is absent.
struct JobProgress {
    std::optional<std::chrono::nanoseconds> position;
    std::optional<std::chrono::nanoseconds> duration;
    std::optional<double> fraction;  ///< 0 to 1

    static JobProgress fromEvent(const proto::job_monitoring::JobEventProgress& event);
};

/// "cam1: 42 %, 0:12 of 0:30"; without a duration "cam1: at 0:12". Escaped.
std::string progressText(const std::string& name, const JobProgress& progress);

/// "cam1 [#####-------]  42 %  0:12 / 0:30" in less than `width` columns; without a duration, or
/// without room, there is no bar. Escaped.
std::string progressBar(const std::string& name, const JobProgress& progress, std::size_t width);

}  // namespace tarn::cli
