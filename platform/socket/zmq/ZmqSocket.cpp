#include "platform/socket/zmq/ZmqSocket.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

#include "platform/socket/visitors/ProcessVisitors.h"

namespace tarn::socket {

namespace {

// In-process, one thread reads what another has written. The library's queues order that, out of
// sight of the thread sanitizer, which they are not built with; this orders it in its sight.
std::atomic<std::uint64_t> handedOver = 0;

}  // namespace

ZmqSocket::ZmqSocket(std::shared_ptr<Context> context, zmq::socket_type type)
    : owner(std::move(context)),
      socket(
          callZmq("cannot make a socket", [&] { return zmq::socket_t(owner->library(), type); })) {}

void ZmqSocket::connect(const std::string& address) {
    callZmq("cannot connect to " + address, [&] { socket.connect(address); });
}

std::string ZmqSocket::bind(const std::string& address) {
    return callZmq("cannot listen on " + address, [&] {
        socket.bind(address);
        return socket.get(zmq::sockopt::last_endpoint);
    });
}

std::string ZmqSocket::bind(const std::string& address, const os::FileDescriptor& listening) {
    const int given = ::fcntl(listening.get(), F_DUPFD_CLOEXEC, 0);
    if (given < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot listen on " + address);
    }
    set(zmq::sockopt::use_fd, given);
    try {
        auto bound = bind(address);
        set(zmq::sockopt::use_fd, -1);  // the next address is not listened on there
        return bound;
    } catch (...) {  // the library takes nothing then
        ::close(given);
        set(zmq::sockopt::use_fd, -1);
        throw;
    }
}

// C, since most who unbind cannot do anything about a failure.
bool ZmqSocket::unbind(const std::string& address) {
    return zmq_unbind(handle(), address.c_str()) == 0;
}

bool ZmqSocket::receive(zmq::message_t& frame) {
    const bool isThere = take(frame);
    if (isThere && processVisitors().areCounted()) {
        processVisitors().credit(zmq_msg_get(frame.handle(), ZMQ_SRCFD),
                                 weightOfFrame(frame.size()));
    }
    return isThere;
}

bool ZmqSocket::take(zmq::message_t& frame) {
    const auto size =
        callZmq("cannot receive", [&] { return socket.recv(frame, zmq::recv_flags::dontwait); });
    handedOver.load(std::memory_order_acquire);
    return size.has_value();
}

bool ZmqSocket::send(zmq::message_t& frame, zmq::send_flags position) {
    handedOver.fetch_add(1, std::memory_order_release);
    const auto flags = position | zmq::send_flags::dontwait;
    return callZmq("cannot send", [&] { return socket.send(frame, flags); }).has_value();
}

bool ZmqSocket::waitFor(short events, const os::Deadline& deadline, int descriptor) {
    std::array<zmq::pollitem_t, 2> items{{
        {handle(), 0, events, 0},
        {nullptr, descriptor, ZMQ_POLLIN, 0},
    }};
    const std::size_t count = descriptor >= 0 ? 2 : 1;
    do {
        if (callZmq("cannot wait",
                    [&] { return zmq::poll(items.data(), count, deadline.remaining()); }) > 0) {
            return items[0].revents != 0;
        }
    } while (!deadline.hasPassed());
    return false;
}

}  // namespace tarn::socket
