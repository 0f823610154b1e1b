#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/tree_updates/TreeFollower.h"
#include "proto/service_event.fwd.h"
#include "tests/system/devices/GatewayFollower.h"

namespace tarn::socket {
class Socket;
}

namespace tarn::test {

/// A subscriber of the gateway that follows differences, on a thread of its own; subscribes anew
/// where it finds that something is missing. Thread-safe.
class UpdatesFollower {
  public:
    explicit UpdatesFollower(const std::string& endpoint);

    /// The devices of its tree.
    Devices devices() const;

    std::uint64_t differences() const;  ///< that it has applied

    /// What must never be; empty when it was not.
    std::vector<std::string> problems() const;

  private:
    using Update = proto::service_event::TreeUpdate;

    void follow(const std::stop_token& stop);
    bool followUntilLost(socket::Socket& socket, const std::stop_token& stop);
    tree_updates::TreeFollower::Finding take(Update& update);

    const std::string endpoint;
    mutable std::mutex mutex;
    // Guarded by mutex:
    tree_updates::TreeFollower follower;
    std::uint64_t applied = 0;
    std::vector<std::string> found;

    std::jthread thread;  // last: it uses the others
};

}  // namespace tarn::test
