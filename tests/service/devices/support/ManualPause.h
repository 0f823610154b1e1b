#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>

#include "service/devices/Pause.h"

namespace tarn::test {

/// Time that the test lets pass: whoever pauses stays in its pause until it is let go, or asked to
/// stop. For one pausing thread.
class ManualPause {
  public:
    /// What the thread is to pause with; the object must outlive it.
    service::devices::Pause function();

    /// Waits until the thread is in a pause, and tells how long that is. Throws when it comes to
    /// none within the bound.
    std::chrono::milliseconds await();

    /// Whether the thread is in a pause now.
    bool isPausing();

    /// Lets the thread go on from its pause.
    void letGo();

    /// Both: the pause after the present one.
    std::chrono::milliseconds next();

  private:
    void pause(std::chrono::milliseconds duration, const std::stop_token& stop);

    std::mutex mutex;
    std::condition_variable_any changed;
    std::chrono::milliseconds current{};
    unsigned entered = 0;
    unsigned left = 0;
};

}  // namespace tarn::test
