#pragma once

#include <zmq.h>

#include <cstddef>

namespace tarn::socket {

class ZmqSocket;

/// One frame of a message; a message is one or more of them.
class Frame {
  public:
    enum class Position { Last, MoreFollow };

    Frame();
    /// With uninitialised content. Throws std::runtime_error without memory.
    explicit Frame(std::size_t size);
    ~Frame();
    Frame(Frame&& other) noexcept;
    Frame& operator=(Frame&& other) noexcept;
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;

    void* data() { return zmq_msg_data(&message); }
    std::size_t size() const { return zmq_msg_size(&message); }

    /// Takes what has arrived; false when nothing has. Throws std::runtime_error.
    bool receive(ZmqSocket& socket);

    /// Of a received frame.
    Position position() const;

    /// What the library knows of the connection by which the frame came; null where it does not.
    /// Lives as long as any frame of that connection.
    const char* property(const char* name) const { return zmq_msg_gets(&message, name); }

    /// Hands the frame over, which leaves this one empty; false, with this one as it was, when the
    /// queue is full. Throws std::runtime_error.
    bool send(ZmqSocket& socket, Position position);

  private:
    mutable zmq_msg_t message;
};

}  // namespace tarn::socket
