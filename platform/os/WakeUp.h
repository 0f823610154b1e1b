#pragma once

#include <chrono>

namespace tarn::os {

/// A descriptor that becomes readable when somebody rings. Any thread.
class WakeUp {
  public:
    /// Throws std::runtime_error when no descriptor is left.
    WakeUp();
    ~WakeUp();
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;

    int descriptor() const { return number; }
    void ring();

    /// Waits until somebody rings, or has rung, at most `bound`.
    void waitFor(std::chrono::milliseconds bound) const;

    /// Makes the descriptor unreadable again; what rings later is not lost.
    void reset();

  private:
    const int number;
};

}  // namespace tarn::os
