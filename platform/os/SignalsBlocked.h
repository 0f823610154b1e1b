#pragma once

#include <signal.h>

namespace tarn::os {

/// Blocks the signals of this thread while it lives. A thread that is started meanwhile keeps them
/// blocked: it will not run a handler that waits for that very thread to end. Those that a faulty
/// instruction raises stay as they are.
class SignalsBlocked {
  public:
    SignalsBlocked();
    ~SignalsBlocked();
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t before;
};

}  // namespace tarn::os
