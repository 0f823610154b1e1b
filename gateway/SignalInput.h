#pragma once

namespace tarn::gateway {

/// Takes SIGINT, SIGTERM and SIGUSR1 of the process as input instead of as interruptions. To be
/// made before other threads are. Throws std::system_error.
class SignalInput {
  public:
    enum class Request { None, Report, Stop };

    SignalInput();
    ~SignalInput();
    SignalInput(const SignalInput&) = delete;
    SignalInput& operator=(const SignalInput&) = delete;

    /// For poll: readable when `take` has something.
    int descriptor() const { return number; }

    /// What was asked for since the last time, one at a time; does not wait.
    Request take();

  private:
    const int number;
};

}  // namespace tarn::gateway
