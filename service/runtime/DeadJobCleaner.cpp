#include "service/runtime/DeadJobCleaner.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <system_error>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/utils/Log.h"

std::atomic<bool> mustRun{false};
std::unique_ptr<std::thread> deadJobCleaner;

namespace tarn::service {

namespace {

constexpr std::chrono::seconds period{2};

struct Pause {
    std::mutex mutex;
    std::condition_variable ended;
};

Pause& pauseOfCleaner() {
    static Pause pause;
    return pause;
}

}  // namespace

void pauseUnlessCleanerStops(std::chrono::milliseconds duration) {
    auto& pause = pauseOfCleaner();
    std::unique_lock lock(pause.mutex);
    pause.ended.wait_for(lock, duration, [] { return !mustRun; });
}

void deadJobCleanerFunction(const CleanerPause& pause) {
    while (mustRun) {
        std::string error;
        if (!resource_manager::GetResourceManagerProxy().clearDeadProcesses(error)) {
            utils::logError("Failed to clear dead processes: " + error);
        }
        pause(period);
    }
}

void startDeadJobCleaner() {
    pauseOfCleaner();  // before the thread, so that it is destroyed after it
    mustRun = true;
    deadJobCleaner = std::make_unique<std::thread>([] { deadJobCleanerFunction(); });
}

void stopDeadJobCleaner() {
    auto& pause = pauseOfCleaner();
    const std::lock_guard lock(pause.mutex);
    mustRun = false;
    pause.ended.notify_all();
}

void joinDeadJobCleaner() {
    if (!deadJobCleaner || !deadJobCleaner->joinable()) {
        return;
    }
    try {
        deadJobCleaner->join();
    } catch (const std::system_error& e) {
        utils::logError(std::string("Error stopping dead job cleaner thread: ") + e.what());
    }
}

}  // namespace tarn::service
