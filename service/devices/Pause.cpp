#include "service/devices/Pause.h"

#include <condition_variable>
#include <mutex>

namespace tarn::service::devices {

void realPause(std::chrono::milliseconds duration, const std::stop_token& stop) {
    std::mutex mutex;
    std::condition_variable_any never;
    std::unique_lock lock(mutex);
    never.wait_for(lock, stop, duration, [] { return false; });
}

}  // namespace tarn::service::devices
