#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "proto/monitoring.fwd.h"
#include "proto/service_event.fwd.h"

namespace tarn::test {

class Api;

/// The devices directly under the root: id to everything that is known of it, as JSON.
using Devices = std::map<std::string, std::string>;
Devices devicesUnder(const proto::monitoring::DeviceNode& root);

/// As the service itself tells them when it is asked; a failure of the test when it does not.
Devices devicesOfTheService(Api& api);

constexpr auto publishedEvents = "ipc:///tmp/events.pub";

/// A subscriber of the gateway that keeps up, on a thread of its own. It checks what holds for
/// every batch: its number is the one after the last, and whoever applies its events to the devices
/// that were there before has the devices that its tree holds, unless the service's numbers tell
/// that some are missing.
class GatewayFollower {
  public:
    explicit GatewayFollower(const std::string& endpoint);

    /// The devices of the last tree.
    Devices devices() const;

    std::uint64_t batches() const;

    /// Waits until more than `count` batches have come; false when the bound passed.
    bool waitForBatchAfter(std::uint64_t count) const;

    /// What did not hold; empty when all did.
    std::vector<std::string> problems() const;

  private:
    using Batch = proto::service_event::ServiceEventBatch;

    void follow(const std::stop_token& stop);
    void take(const Batch& batch);
    void checkNumber(const Batch& batch);
    void applyEvents(const Batch& batch);
    void checkTree(const Batch& batch);
    bool isAfterAGap(const Batch& batch) const;
    void note(const std::string& problem);

    const std::string endpoint;
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    // Guarded by mutex:
    Devices last;
    std::set<std::string> expected;
    std::string instance;
    std::uint64_t sequence = 0;
    std::uint64_t sequenceOfService = 0;
    std::uint64_t count = 0;
    std::vector<std::string> found;

    std::jthread thread;  // last: it uses the others
};

}  // namespace tarn::test
