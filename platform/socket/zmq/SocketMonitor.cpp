#include "platform/socket/zmq/SocketMonitor.h"

#include <algorithm>
#include <atomic>
#include <cstring>

namespace tarn::socket {

namespace {

std::string uniqueAddress() {
    static std::atomic<std::uint64_t> count = 0;
    return "inproc://tarn.socket.monitor." + std::to_string(++count);
}

// It begins with the number, in 16 bits of this machine's order.
int numberOf(const zmq::message_t& event) {
    std::uint16_t number = 0;
    std::memcpy(&number, event.data(), std::min(event.size(), sizeof number));
    return number;
}

}  // namespace

SocketMonitor::SocketMonitor(ZmqSocket& watched, int eventSet)
    : watched(watched), events(watched.context(), zmq::socket_type::pair) {
    events.set(zmq::sockopt::linger, 0);
    const auto address = uniqueAddress();
    callZmq("cannot watch a socket", [&] {
        if (zmq_socket_monitor(watched.handle(), address.c_str(), eventSet) != 0) {
            throw zmq::error_t();
        }
    });
    events.connect(address);
}

SocketMonitor::~SocketMonitor() {
    zmq_socket_monitor(watched.handle(), nullptr, 0);
}

std::optional<int> SocketMonitor::waitForEvent(const os::Deadline& deadline, int descriptor) {
    while (events.waitFor(ZMQ_POLLIN, deadline, descriptor)) {
        zmq::message_t number;
        zmq::message_t address;
        if (events.receive(number) && number.more() && events.receive(address)) {
            return numberOf(number);
        }
    }
    return std::nullopt;
}

}  // namespace tarn::socket
