#pragma once

#include <chrono>

#include "platform/os/FileDescriptor.h"

namespace tarn::os {

/// An event descriptor: becomes readable when somebody rings. Any thread.
class WakeUp {
  public:
    /// Throws std::system_error when no descriptor is left.
    WakeUp();

    int descriptor() const { return event.get(); }
    void ring();

    /// Waits until somebody rings, or has rung, at most `bound`.
    void waitFor(std::chrono::milliseconds bound) const;

    /// Makes the descriptor unreadable again; what rings later is not lost.
    void reset();

  private:
    const FileDescriptor event;
};

}  // namespace tarn::os
