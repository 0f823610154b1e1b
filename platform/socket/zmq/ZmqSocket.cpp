#include "platform/socket/zmq/ZmqSocket.h"

#include <zmq.h>

#include <array>
#include <cerrno>
#include <utility>

#include "platform/socket/zmq/ZmqError.h"

namespace tarn::socket {

namespace {

void check(int result, const std::string& action) {
    if (result != 0) {
        throwZmqError(action, errno);
    }
}

void setRaw(void* socket, int option, const void* value, std::size_t size) {
    check(zmq_setsockopt(socket, option, value, size),
          "cannot set socket option " + std::to_string(option));
}

}  // namespace

ZmqSocket::ZmqSocket(std::shared_ptr<Context> context, int type)
    : owner(std::move(context)), socket(zmq_socket(owner->handle(), type)) {
    if (socket == nullptr) {
        throwZmqError("cannot make a socket", errno);
    }
}

ZmqSocket::~ZmqSocket() {
    zmq_close(socket);
}

void ZmqSocket::setOption(int option, int value) {
    setRaw(socket, option, &value, sizeof(value));
}

void ZmqSocket::setOption(int option, std::int64_t value) {
    setRaw(socket, option, &value, sizeof(value));
}

void ZmqSocket::setOption(int option, const std::string& value) {
    setRaw(socket, option, value.data(), value.size());
}

void ZmqSocket::connect(const std::string& address) {
    check(zmq_connect(socket, address.c_str()), "cannot connect to " + address);
}

std::string ZmqSocket::bind(const std::string& address) {
    check(zmq_bind(socket, address.c_str()), "cannot listen on " + address);
    std::array<char, 1024> resolved{};
    std::size_t size = resolved.size();
    check(zmq_getsockopt(socket, ZMQ_LAST_ENDPOINT, resolved.data(), &size),
          "cannot read the address of " + address);
    return resolved.data();
}

bool ZmqSocket::waitFor(short events, const os::Deadline& deadline, int descriptor) {
    std::array<zmq_pollitem_t, 2> items{{
        {socket, 0, events, 0},
        {nullptr, descriptor, ZMQ_POLLIN, 0},
    }};
    const int count = descriptor >= 0 ? 2 : 1;
    while (true) {
        const int ready = zmq_poll(items.data(), count, deadline.remaining().count());
        if (ready < 0 && errno != EINTR) {
            throwZmqError("cannot wait", errno);
        }
        if (ready > 0) {
            return items[0].revents != 0;
        }
        if (deadline.hasPassed()) {
            return false;
        }
    }
}

}  // namespace tarn::socket
