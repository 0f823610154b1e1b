#pragma once

#include <chrono>

namespace tarn::service {

/// SIGQUIT and SIGINT as something that threads can ask for and wait for. The handler itself only
/// notes the signal. One object a process, made before any thread; the handlers stay installed.
/// All operations may be called from any thread.
class StopSignal {
  public:
    /// Installs the handlers. Throws std::system_error when the process has no descriptor left.
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    /// Whether a signal arrived.
    bool requested() const;

    /// Waits for `duration` or until a signal arrives; true when one did.
    bool waitFor(std::chrono::milliseconds duration) const;

    /// Waits for a signal and returns its number, or 0 after cancelWait.
    int wait();
    void cancelWait();
};

}  // namespace tarn::service
