#pragma once

#include <signal.h>

#include "platform/os/SignalInput.h"
#include "platform/os/SignalsBlocked.h"

namespace tarn::cli {

/// While it lives, Ctrl-C is something to ask and to wait for instead of the end of the process, so
/// that a command that follows a job can say that the job goes on. Once is as good as often; after
/// it, the next one ends the process. One at a time, on the main thread.
class Interrupt {
  public:
    ~Interrupt();

    bool requested() const { return input.isRaised(); }

    /// For poll: readable from the first Ctrl-C on.
    int descriptor() const { return input.descriptor(); }

    /// Waits for Ctrl-C, at most `bound`: a pause that it ends.
    bool requestedWithin(std::chrono::milliseconds bound) const { return input.waitFor(bound); }

  private:
    const os::SignalsBlocked blocked{SIGINT};  // as before at the end
    os::SignalInput input{SIGINT};
};

}  // namespace tarn::cli
