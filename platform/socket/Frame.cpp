#include "platform/socket/Frame.h"

#include <cerrno>

#include "platform/socket/ZmqError.h"
#include "platform/socket/ZmqSocket.h"

namespace tarn::socket {

namespace {

// These calls do not wait, but a signal may still interrupt them.
template <typename Call>
bool completes(const char* action, Call call) {
    while (call() < 0) {
        if (errno == EAGAIN) {
            return false;
        }
        if (errno != EINTR) {
            throwZmqError(action, errno);
        }
    }
    return true;
}

}  // namespace

Frame::Frame() {
    zmq_msg_init(&message);
}

Frame::Frame(std::size_t size) {
    if (zmq_msg_init_size(&message, size) != 0) {
        throwZmqError("no memory for a message of " + std::to_string(size) + " bytes", errno);
    }
}

Frame::~Frame() {
    zmq_msg_close(&message);
}

Frame::Frame(Frame&& other) noexcept : Frame() {
    zmq_msg_move(&message, &other.message);
}

Frame& Frame::operator=(Frame&& other) noexcept {
    if (this != &other) {
        zmq_msg_move(&message, &other.message);
    }
    return *this;
}

bool Frame::receive(ZmqSocket& socket) {
    return completes("cannot receive",
                     [&] { return zmq_msg_recv(&message, socket.handle(), ZMQ_DONTWAIT); });
}

Frame::Position Frame::position() const {
    return zmq_msg_more(&message) != 0 ? Position::MoreFollow : Position::Last;
}

bool Frame::send(ZmqSocket& socket, Position position) {
    const int flags = ZMQ_DONTWAIT | (position == Position::MoreFollow ? ZMQ_SNDMORE : 0);
    return completes("cannot send", [&] { return zmq_msg_send(&message, socket.handle(), flags); });
}

}  // namespace tarn::socket
