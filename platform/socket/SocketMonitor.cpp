#include "platform/socket/SocketMonitor.h"

#include <zmq.h>

#include <atomic>
#include <cerrno>
#include <memory>

#include "platform/socket/Frame.h"
#include "platform/socket/ZmqError.h"

namespace tarn::socket {

namespace {

std::string uniqueAddress() {
    static std::atomic<std::uint64_t> count = 0;
    return "inproc://tarn.socket.monitor." + std::to_string(++count);
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

bool SocketMonitor::waitForEvent(const Deadline& deadline) {
    while (events.waitFor(ZMQ_POLLIN, deadline)) {
        Frame number;
        Frame address;
        if (number.receive(events) && number.position() == Frame::Position::MoreFollow &&
            address.receive(events)) {
            return true;
        }
    }
    return false;
}

}  // namespace tarn::socket
