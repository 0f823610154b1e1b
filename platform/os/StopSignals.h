#pragma once

#include "platform/os/FileDescriptor.h"

namespace tarn::os {

/// SIGINT and SIGTERM to this process, as something to wait for.
class StopSignals {
  public:
    /// From now on the two signals are taken here: construct before threads are started. Throws
    /// std::system_error.
    StopSignals();

    /// Readable from the first signal on.
    int descriptor() const { return signals.get(); }
    bool isRaised() const;

    /// Whether one has come since the last time; the descriptor is readable again at the next.
    bool take();

  private:
    FileDescriptor signals;
};

}  // namespace tarn::os
