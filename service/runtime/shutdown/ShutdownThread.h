#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "platform/os/SignalsBlocked.h"
#include "service/runtime/shutdown/StopSignal.h"

namespace tarn::service {

/// Runs the shutdown when a stop signal arrives. From then on that it is made the signals meet its
/// thread alone, which waits for a descriptor: not the one that makes it, nor those that that one
/// starts, which may be in any wait. The signal makes the start-up break off, and the
/// main thread says when it has come to rest: the shutdown waits for that, but not for long, since
/// a step of the start-up may take for ever.
///
///     StartingUp --allowShutdown--> AtRest    a signal runs the shutdown, also an earlier one
///     StartingUp ---destructor----> GivenUp   the start-up failed: a signal has nothing to stop
///
/// A signal in StartingUp waits for the next state, for the grace time at most, and then runs the
/// shutdown beside the step in hand, and ends the process.
class ShutdownThread {
  public:
    struct Actions {
        std::function<void(int signal)> shutdown;
        /// Ends the process without the main thread, which is stuck. Returns only in tests.
        std::function<void()> endProcess;
    };

    /// The actions run on this object's thread, at most once. The signal object must outlive this
    /// one.
    ShutdownThread(StopSignal& signal, Actions actions,
                   std::chrono::milliseconds grace = std::chrono::seconds(1));

    /// Waits for the shutdown if there was a signal and it is allowed.
    ~ShutdownThread();
    ShutdownThread(const ShutdownThread&) = delete;
    ShutdownThread& operator=(const ShutdownThread&) = delete;

    void allowShutdown();

  private:
    enum class MainThread { StartingUp, AtRest, GivenUp };

    void threadFunction();
    MainThread stateWithin(std::chrono::milliseconds bound);
    void enter(MainThread next);

    StopSignal& signal;
    const Actions actions;
    const std::chrono::milliseconds grace;
    std::mutex mutex;
    std::condition_variable changed;
    MainThread mainThread = MainThread::StartingUp;  // guarded by mutex
    std::thread thread;                              // after all that it uses
    const os::SignalsBlocked othersLeaveSignals;     // after the thread, which takes them
};

}  // namespace tarn::service
