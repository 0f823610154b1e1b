#pragma once

#include <chrono>
#include <functional>
#include <stop_token>

namespace tarn::service::devices {

/// How a controller's thread lets time pass: returns after `duration`, or as soon as `stop` is
/// requested. Tests bring their own.
using Pause = std::function<void(std::chrono::milliseconds duration, const std::stop_token& stop)>;

void realPause(std::chrono::milliseconds duration, const std::stop_token& stop);

}  // namespace tarn::service::devices
