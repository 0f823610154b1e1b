#pragma once

#include <chrono>
#include <initializer_list>

#include "platform/os/FileDescriptor.h"

namespace tarn::os {

/// Signals to this process as something to read and to wait for, instead of as interruptions: it
/// does not matter which thread they meet, and in what. Used by one thread.
class SignalInput {
  public:
    /// From now on, and for good, these signals are taken here: construct before threads are
    /// started. Throws std::system_error.
    SignalInput(std::initializer_list<int> signals);

    /// For poll: readable as long as a signal waits to be taken.
    int descriptor() const { return input.get(); }
    bool isRaised() const { return waitFor(std::chrono::milliseconds(0)); }

    /// Waits until a signal can be taken, at most `bound`; whether one can.
    bool waitFor(std::chrono::milliseconds bound) const;

    /// The number of a signal that has come and was not taken yet; 0 when there is none.
    int take();

  private:
    FileDescriptor input;
};

}  // namespace tarn::os
