#include "platform/socket/zmq/SocketMonitor.h"

#include <zmq.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>

#include "platform/socket/zmq/Frame.h"
#include "platform/socket/zmq/ZmqError.h"

namespace tarn::socket {

namespace {

std::string uniqueAddress() {
    static std::atomic<std::uint64_t> count = 0;
    return "inproc://tarn.socket.monitor." + std::to_string(++count);
}

// It begins with the number, in 16 bits of this machine's order.
int numberOf(Frame& event) {
    std::uint16_t number = 0;
    std::memcpy(&number, event.data(), std::min(event.size(), sizeof number));
    return number;
}

}  // namespace

SocketMonitor::SocketMonitor(ZmqSocket& watched, int eventSet)
    : watched(watched), events(watched.context(), ZMQ_PAIR) {
    events.setOption(ZMQ_LINGER, 0);
    const auto address = uniqueAddress();
    if (zmq_socket_monitor(watched.handle(), address.c_str(), eventSet) != 0) {
        throwZmqError("cannot watch a socket", errno);
    }
    events.connect(address);
}

SocketMonitor::~SocketMonitor() {
    zmq_socket_monitor(watched.handle(), nullptr, 0);
}

std::optional<int> SocketMonitor::waitForEvent(const os::Deadline& deadline, int descriptor) {
    while (events.waitFor(ZMQ_POLLIN, deadline, descriptor)) {
        Frame number;
        Frame address;
        if (number.receive(events) && number.position() == Frame::Position::MoreFollow &&
            address.receive(events)) {
            return numberOf(number);
        }
    }
    return std::nullopt;
}

}  // namespace tarn::socket
