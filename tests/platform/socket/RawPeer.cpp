#include "tests/platform/socket/RawPeer.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <zmq.h>

#include <array>

namespace tarn::socket::test {

RawPeer::RawPeer(int type, const SocketEndpoint& endpoint, int option)
    : context(zmq_ctx_new()), socket(zmq_socket(context, type)) {
    const int patience = 10000;
    const int linger = 1000;
    const int yes = 1;
    zmq_setsockopt(socket, ZMQ_RCVTIMEO, &patience, sizeof(patience));
    zmq_setsockopt(socket, ZMQ_LINGER, &linger, sizeof(linger));
    if (option != 0) {
        zmq_setsockopt(socket, option, &yes, sizeof(yes));
    }
    EXPECT_EQ(zmq_connect(socket, endpoint.toString(Protocol::Request).c_str()), 0);
}

RawPeer::~RawPeer() {
    zmq_close(socket);
    zmq_ctx_term(context);
}

bool RawPeer::send(const std::vector<std::string>& frames) {
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const int flags = ZMQ_DONTWAIT | (i + 1 < frames.size() ? ZMQ_SNDMORE : 0);
        if (zmq_send(socket, frames[i].data(), frames[i].size(), flags) < 0) {
            return false;
        }
    }
    return true;
}

void RawPeer::subscribe(const std::string& topic) {
    EXPECT_EQ(zmq_setsockopt(socket, ZMQ_SUBSCRIBE, topic.data(), topic.size()), 0);
}

void RawPeer::unsubscribe(const std::string& topic) {
    EXPECT_EQ(zmq_setsockopt(socket, ZMQ_UNSUBSCRIBE, topic.data(), topic.size()), 0);
}

bool RawPeer::poll(int boundMs) {
    zmq_pollitem_t item{socket, 0, ZMQ_POLLIN, 0};
    return zmq_poll(&item, 1, boundMs) > 0;
}

std::vector<std::string> RawPeer::receive() {
    std::vector<std::string> frames;
    bool more = true;
    while (more) {
        zmq_msg_t frame;
        zmq_msg_init(&frame);
        if (zmq_msg_recv(&frame, socket, 0) < 0) {
            return {};
        }
        frames.emplace_back(static_cast<const char*>(zmq_msg_data(&frame)), zmq_msg_size(&frame));
        more = zmq_msg_more(&frame) != 0;
        zmq_msg_close(&frame);
    }
    return frames;
}

namespace {

int connectTo(const SocketEndpoint& endpoint) {
    if (endpoint.transport() == Transport::Ipc) {
        const int number = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        ("/tmp/" + endpoint.host()).copy(address.sun_path, sizeof(address.sun_path) - 1);
        auto* generic = static_cast<sockaddr*>(static_cast<void*>(&address));
        EXPECT_EQ(::connect(number, generic, sizeof(address)), 0);
        return number;
    }
    const int number = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(endpoint.port());
    auto* generic = static_cast<sockaddr*>(static_cast<void*>(&address));
    EXPECT_EQ(::connect(number, generic, sizeof(address)), 0);
    return number;
}

// True at the end of the stream, false when nothing more comes.
bool readToTheEnd(int number) {
    std::array<char, 4096> received{};
    pollfd item{number, POLLIN, 0};
    while (::poll(&item, 1, 50) > 0) {
        if (::recv(number, received.data(), received.size(), 0) <= 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool pourInto(const SocketEndpoint& endpoint, const std::string& bytes) {
    const int number = connectTo(endpoint);
    const auto sent = ::send(number, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    const bool closed = readToTheEnd(number);
    ::close(number);
    return closed || sent < 0;
}

}  // namespace tarn::socket::test
