#pragma once

#include <chrono>
#include <string>

namespace tarn::cli {

/// The time of day where this runs: "14:03:07.250".
std::string clockTime(std::chrono::system_clock::time_point time);

/// A length of time: "0:07", "12:30", "1:02:03".
std::string clockText(std::chrono::nanoseconds time);

}  // namespace tarn::cli
