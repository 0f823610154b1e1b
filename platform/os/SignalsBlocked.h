#pragma once

#include <signal.h>

#include <initializer_list>

namespace tarn::os {

/// Blocks signals of this thread while it lives. A thread that is started meanwhile keeps them
/// blocked: it will not run a handler that waits for that very thread to end. Made and destroyed by
/// the same thread.
class SignalsBlocked {
  public:
    /// All but those that a faulty instruction raises.
    SignalsBlocked();
    explicit SignalsBlocked(std::initializer_list<int> signals);
    ~SignalsBlocked();
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t before;
};

}  // namespace tarn::os
