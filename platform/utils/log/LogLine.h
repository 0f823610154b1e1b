#pragma once

#include <string>

#include "platform/utils/Log.h"

namespace tarn::utils {

/// "2026-11-21 10:00:00,123 INFO  message", with the time of now and a line end. Any thread.
std::string logLine(LogLevel level, const std::string& message);

}  // namespace tarn::utils
