#include "service/devices/ControllerThread.h"

#include <utility>

namespace tarn::service::devices {

void ControllerThread::start(Body body) {
    const std::lock_guard lock(mutex);
    join();
    thread = std::jthread(std::move(body));
}

void ControllerThread::stop() {
    const std::lock_guard lock(mutex);
    join();
}

void ControllerThread::join() {
    if (thread.joinable()) {
        thread.request_stop();
        thread.join();
    }
}

}  // namespace tarn::service::devices
