#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/os/Deadline.h"
#include "platform/socket/zmq/Context.h"

namespace tarn::socket {

/// Owns one socket of the messaging library, and holds its context. Closing does not wait; messages
/// that are flushed are seen to by the context. One thread at a time.
class ZmqSocket {
  public:
    /// Throws std::runtime_error, as everything here does.
    ZmqSocket(std::shared_ptr<Context> context, int type);
    ~ZmqSocket();
    ZmqSocket(const ZmqSocket&) = delete;
    ZmqSocket& operator=(const ZmqSocket&) = delete;

    void setOption(int option, int value);
    void setOption(int option, std::int64_t value);
    void setOption(int option, const std::string& value);

    void connect(const std::string& address);

    /// Returns the address as the library resolved it, which unbinding asks for.
    std::string bind(const std::string& address);

    /// Waits for `events` (ZMQ_POLLIN, ZMQ_POLLOUT); false when the time has passed, or when
    /// `descriptor` (-1 for none) became readable first.
    bool waitFor(short events, const os::Deadline& deadline, int descriptor = -1);

    const std::shared_ptr<Context>& context() const { return owner; }
    void* handle() { return socket; }

  private:
    const std::shared_ptr<Context> owner;
    void* const socket;
};

}  // namespace tarn::socket
