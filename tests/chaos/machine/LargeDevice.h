#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "peers/device/Device.h"
#include "peers/device/DeviceServer.h"
#include "tests/chaos/machine/Places.h"

namespace tarn::chaos {

/// A device whose description fills the queues on the way to the followers after a few batches. It
/// rests unless it is stirred, is never killed, and lives on a thread of its own.
class LargeDevice {
  public:
    /// Listens where `places` says.
    explicit LargeDevice(const Places& places);

    /// Adds and removes a part so often, each time as an event that is sent at once. Waits until
    /// that is done.
    void stir(int times);

  private:
    void run(const std::stop_token& stop);
    void changeOnce();

    std::shared_ptr<device_tree::DeviceNode> state;
    peers::Device device;
    peers::DeviceServer server;
    std::atomic<int> changesLeft{0};
    std::jthread thread;  // last: it uses the others
};

}  // namespace tarn::chaos
