#include "service/runtime/ShutdownThread.h"

#include <utility>

namespace tarn::service {

ShutdownThread::ShutdownThread(StopSignal& signal, std::function<void(int)> shutdown)
    : signal(signal), shutdown(std::move(shutdown)), thread([this] { threadFunction(); }) {}

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
    if (number != 0 && mayShutDown()) {
        shutdown(number);
    }
}

bool ShutdownThread::mayShutDown() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return mainThread != MainThread::StartingUp; });
    return mainThread == MainThread::AtRest;
}

}  // namespace tarn::service
