#include "tests/service/devices/support/ManualPause.h"

#include <stdexcept>

namespace tarn::test {

service::devices::Pause ManualPause::function() {
    return [this](std::chrono::milliseconds duration, const std::stop_token& stop) {
        pause(duration, stop);
    };
}

void ManualPause::pause(std::chrono::milliseconds duration, const std::stop_token& stop) {
    std::unique_lock lock(mutex);
    current = duration;
    const auto mine = ++entered;
    changed.notify_all();
    changed.wait(lock, stop, [&] { return left >= mine; });
    left = mine;
}

std::chrono::milliseconds ManualPause::await() {
    std::unique_lock lock(mutex);
    if (!changed.wait_for(lock, std::chrono::seconds(20), [this] { return entered > left; })) {
        throw std::runtime_error("the thread came to no pause");
    }
    return current;
}

bool ManualPause::isPausing() {
    const std::lock_guard lock(mutex);
    return entered > left;
}

void ManualPause::letGo() {
    const std::lock_guard lock(mutex);
    left = entered;
    changed.notify_all();
}

std::chrono::milliseconds ManualPause::next() {
    await();
    letGo();
    return await();
}

}  // namespace tarn::test
