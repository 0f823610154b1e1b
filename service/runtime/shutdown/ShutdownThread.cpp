#include "service/runtime/shutdown/ShutdownThread.h"

#include <signal.h>

#include <utility>

namespace tarn::service {

ShutdownThread::ShutdownThread(StopSignal& signal, Actions actions, std::chrono::milliseconds grace)
    : signal(signal),
      actions(std::move(actions)),
      grace(grace),
      thread([this] { threadFunction(); }),
      othersLeaveSignals{SIGINT, SIGQUIT} {}

ShutdownThread::~ShutdownThread() {
    enter(MainThread::GivenUp);
    signal.cancelWait();
    thread.join();
}

void ShutdownThread::allowShutdown() {
    enter(MainThread::AtRest);
}

void ShutdownThread::enter(MainThread next) {
    const std::lock_guard lock(mutex);
    if (mainThread == MainThread::StartingUp) {
        mainThread = next;
        changed.notify_all();
    }
}

void ShutdownThread::threadFunction() {
    const int number = signal.wait();
    if (number == 0 || stateWithin(grace) == MainThread::GivenUp) {
        return;
    }
    actions.shutdown(number);
    if (stateWithin(std::chrono::milliseconds(0)) == MainThread::StartingUp) {
        actions.endProcess();
    }
}

ShutdownThread::MainThread ShutdownThread::stateWithin(std::chrono::milliseconds bound) {
    std::unique_lock lock(mutex);
    changed.wait_for(lock, bound, [this] { return mainThread != MainThread::StartingUp; });
    return mainThread;
}

}  // namespace tarn::service
