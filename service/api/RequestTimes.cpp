#include "service/api/RequestTimes.h"

std::chrono::steady_clock::time_point startTime;
std::chrono::steady_clock::time_point endTime;
