#pragma once

#include <memory>
#include <optional>

#include "platform/socket/zmq/ZmqSocket.h"

namespace tarn::socket {

/// Watches what happens to the connections of a socket while it lives. Belongs to the socket's
/// thread, and must be gone before the socket is. (zmq::monitor_t waits without a bound for the
/// second half of an event, and asserts where this throws.)
class SocketMonitor {
  public:
    /// `events` is a set of ZMQ_EVENT_... values. Throws std::runtime_error.
    SocketMonitor(ZmqSocket& watched, int events);
    ~SocketMonitor();
    SocketMonitor(const SocketMonitor&) = delete;
    SocketMonitor& operator=(const SocketMonitor&) = delete;

    /// Takes the next event, a ZMQ_EVENT_... value; nothing when none came in time, or before
    /// `descriptor` (-1 for none) became readable.
    std::optional<int> waitForEvent(const os::Deadline& deadline, int descriptor = -1);

  private:
    ZmqSocket& watched;
    ZmqSocket events;
};

}  // namespace tarn::socket
