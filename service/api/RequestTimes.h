#pragma once

#include <chrono>

/// When the request in hand, or the sending of its reply, began and ended. Written by the request
/// thread only.
extern std::chrono::steady_clock::time_point startTime;
extern std::chrono::steady_clock::time_point endTime;
