#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "service/runtime/StopSignal.h"

namespace tarn::service {

/// Runs the shutdown when a stop signal arrives, but never beside a start-up: the main thread says
/// when it has come to rest, and until then the signal only makes the start-up break off.
///
///     StartingUp --allowShutdown--> AtRest    a signal runs the shutdown, also one that came
///     before StartingUp ---destructor----> GivenUp   the start-up failed: a signal has nothing to
///     stop
class ShutdownThread {
  public:
    /// `shutdown` gets the signal's number and runs on this object's thread, at most once. The
    /// signal object must outlive this one.
    ShutdownThread(StopSignal& signal, std::function<void(int)> shutdown);

    /// Waits for the shutdown if there was a signal and it is allowed.
    ~ShutdownThread();
    ShutdownThread(const ShutdownThread&) = delete;
    ShutdownThread& operator=(const ShutdownThread&) = delete;

    void allowShutdown();

  private:
    enum class MainThread { StartingUp, AtRest, GivenUp };

    void threadFunction();
    bool mayShutDown();
    void enter(MainThread next);

    StopSignal& signal;
    const std::function<void(int)> shutdown;
    std::mutex mutex;
    std::condition_variable changed;
    MainThread mainThread = MainThread::StartingUp;  // guarded by mutex
    std::thread thread;                              // last: it uses the others
};

}  // namespace tarn::service
