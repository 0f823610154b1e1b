#include "platform/socket/zmq/Frame.h"

#include <atomic>
#include <cerrno>
#include <cstdint>

#include "platform/socket/zmq/ZmqError.h"
#include "platform/socket/zmq/ZmqSocket.h"

namespace tarn::socket {

namespace {

// In-process, one thread reads what another has written. The library's queues order that, out of
// sight of the thread sanitizer, which they are not built with; this orders it in its sight.
std::atomic<std::uint64_t> handedOver = 0;

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
    const bool received = completes(
        "cannot receive", [&] { return zmq_msg_recv(&message, socket.handle(), ZMQ_DONTWAIT); });
    handedOver.load(std::memory_order_acquire);
    return received;
}

Frame::Position Frame::position() const {
    return zmq_msg_more(&message) != 0 ? Position::MoreFollow : Position::Last;
}

bool Frame::send(ZmqSocket& socket, Position position) {
    handedOver.fetch_add(1, std::memory_order_release);
    const int flags = ZMQ_DONTWAIT | (position == Position::MoreFollow ? ZMQ_SNDMORE : 0);
    return completes("cannot send", [&] { return zmq_msg_send(&message, socket.handle(), flags); });
}

}  // namespace tarn::socket
