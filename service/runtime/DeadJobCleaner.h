#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>

/// Run flag of the dead job cleaner. Set before its thread is created, so that a shutdown that
/// comes right after cannot be undone by the thread's own beginning.
extern std::atomic<bool> mustRun;

/// The thread that runs deadJobCleanerFunction; empty until start-up creates it.
extern std::unique_ptr<std::thread> deadJobCleaner;

namespace tarn::service {

/// Lets the time between two rounds pass, or less of it when `mustRun` becomes false.
using CleanerPause = std::function<void(std::chrono::milliseconds)>;
void pauseUnlessCleanerStops(std::chrono::milliseconds duration);

/// Asks the resource manager every 2 seconds to clear dead processes, until `mustRun` is false.
void deadJobCleanerFunction(const CleanerPause& pause = pauseUnlessCleanerStops);

void startDeadJobCleaner();

/// Clears `mustRun` and ends the pause that the cleaner may be in.
void stopDeadJobCleaner();

/// Waits for the cleaner if there is one; a failure is logged.
void joinDeadJobCleaner();

}  // namespace tarn::service
