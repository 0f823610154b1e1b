#pragma once

#include <memory>
#include <string>

#include "platform/os/Deadline.h"
#include "platform/os/FileDescriptor.h"
#include "platform/socket/zmq/Context.h"
#include "platform/socket/zmq/ZmqError.h"

namespace tarn::socket {

/// A socket of the messaging library that holds its context, and throws and waits as sockets here
/// do: std::runtime_error with what was tried, until a deadline, through signals. Closing does not
/// wait; messages that are flushed are seen to by the context. One thread at a time.
class ZmqSocket {
  public:
    ZmqSocket(std::shared_ptr<Context> context, zmq::socket_type type);

    /// Of zmq::sockopt.
    template <typename Option, typename Value>
    void set(Option option, const Value& value) {
        callZmq("cannot set a socket option", [&] { socket.set(option, value); });
    }
    template <typename Option>
    auto get(Option option) const {
        return callZmq("cannot query a socket option", [&] { return socket.get(option); });
    }

    void connect(const std::string& address);

    /// Returns the address as the library resolved it, which unbinding asks for.
    std::string bind(const std::string& address);

    /// The same with a descriptor that listens there already. It may be closed then: the library
    /// has one of its own.
    std::string bind(const std::string& address, const os::FileDescriptor& listening);

    /// Takes the address that bind returned; false when that was over already, and never throws.
    bool unbind(const std::string& address);

    /// Takes a frame that has arrived; false when none has. Whoever sent it has room for another.
    bool receive(zmq::message_t& frame);

    /// The same, of one that counts as waiting still.
    bool take(zmq::message_t& frame);

    /// Hands the frame over, which leaves it empty; false, with the frame as it was, when the queue
    /// is full.
    bool send(zmq::message_t& frame, zmq::send_flags position = zmq::send_flags::none);

    /// Waits for `events` (ZMQ_POLLIN, ZMQ_POLLOUT); false when the time has passed, or when
    /// `descriptor` (-1 for none) became readable first.
    bool waitFor(short events, const os::Deadline& deadline, int descriptor = -1);

    const std::shared_ptr<Context>& context() const { return owner; }
    void* handle() { return socket.handle(); }

  private:
    const std::shared_ptr<Context> owner;
    zmq::socket_t socket;
};

}  // namespace tarn::socket
