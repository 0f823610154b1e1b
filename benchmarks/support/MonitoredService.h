#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "benchmarks/support/BareSocket.h"

namespace tarn::device_tree {
class DeviceNode;
}

namespace tarn::benchmarks {

/// The running service and its gateway, from both ends: a device that sends events to the one, and
/// a subscriber of the other. Needs a DeviceProcess whose device 0 sends events.
class MonitoredService {
  public:
    using Clock = std::chrono::steady_clock;

    /// Waits until the service knows the device.
    MonitoredService();

    void send(const std::string& event) { events.send(event); }

    /// The next batch that says that this device came or changed; sets `arrival` to when it came.
    std::string awaitBatch(const std::string& device, Clock::time_point& arrival);

    /// Takes the batches that have come and does nothing with them: who does not read is dropped.
    void passOver();

    /// Fills the tree with that many nodes, in devices of at most `deviceSize`, in place of what
    /// was filled in before. Returns once a subscriber has the tree.
    void fill(int nodes, int deviceSize);

    /// The ids of the nodes that were filled in.
    std::vector<std::string> nodes() const;

    static constexpr auto published = "ipc:///tmp/events.pub";

  private:
    void add(const device_tree::DeviceNode& device);

    const BareSocket::Context context = BareSocket::makeContext();
    BareSocket subscriber;
    BareSocket events;
    std::vector<std::string> devices;
    int filled = 0;
};

/// The nodes of these numbers, the first with the others as its sub-devices.
device_tree::DeviceNode sampleDevice(int first, int count);

}  // namespace tarn::benchmarks
