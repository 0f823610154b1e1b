#pragma once

#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>

namespace tarn::service::devices {

/// The thread of a controller. start and stop may be called from any thread, but stop not from the
/// thread itself.
class ControllerThread {
  public:
    using Body = std::function<void(const std::stop_token&)>;

    ControllerThread() = default;
    ~ControllerThread() = default;  ///< stops
    ControllerThread(const ControllerThread&) = delete;
    ControllerThread& operator=(const ControllerThread&) = delete;

    /// Stops the present thread, if there is one, and starts another. Throws std::system_error when
    /// there can be no further thread.
    void start(Body body);

    /// Asks the thread to stop and joins it; without one it does nothing. Throws std::system_error
    /// when joining fails.
    void stop();

  private:
    void join();

    std::mutex mutex;
    std::jthread thread;  // guarded by mutex
};

}  // namespace tarn::service::devices
