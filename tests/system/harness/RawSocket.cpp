#include "tests/system/harness/RawSocket.h"

#include <unistd.h>
#include <zmq.h>

#include <stdexcept>
#include <string_view>

namespace tarn::test {

namespace {

int typeOf(RawSocket::Kind kind) {
    switch (kind) {
        case RawSocket::Kind::Dealer:
            return ZMQ_DEALER;
        case RawSocket::Kind::Reply:
            return ZMQ_REP;
        case RawSocket::Kind::Router:
            break;
    }
    return ZMQ_ROUTER;
}

void check(int result) {
    if (result < 0) {
        throw std::runtime_error(zmq_strerror(zmq_errno()));
    }
}

void setOption(void* socket, int option, int value) {
    check(zmq_setsockopt(socket, option, &value, sizeof value));
}

}  // namespace

void RawSocket::Close::operator()(void* socket) const {
    zmq_close(socket);
}

void RawSocket::Terminate::operator()(void* context) const {
    zmq_ctx_term(context);
}

RawSocket::RawSocket(Kind kind)
    : context(zmq_ctx_new()), socket(zmq_socket(context.get(), typeOf(kind))) {
    constexpr int boundMs = 5000;
    setOption(socket.get(), ZMQ_LINGER, boundMs);
    setOption(socket.get(), ZMQ_SNDTIMEO, boundMs);
}

RawSocket::~RawSocket() {
    for (const auto& file : boundFiles) {
        ::unlink(file.c_str());
    }
}

void RawSocket::connect(const std::string& endpoint) {
    check(zmq_connect(socket.get(), endpoint.c_str()));
}

void RawSocket::bind(const std::string& endpoint) {
    check(zmq_bind(socket.get(), endpoint.c_str()));
    constexpr std::string_view ipc = "ipc://";
    if (endpoint.starts_with(ipc)) {
        boundFiles.push_back(endpoint.substr(ipc.size()));
    }
}

void RawSocket::send(const Frames& frames) {
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const int more = i + 1 < frames.size() ? ZMQ_SNDMORE : 0;
        check(zmq_send(socket.get(), frames[i].data(), frames[i].size(), more));
    }
}

std::optional<RawSocket::Frames> RawSocket::receive(std::chrono::milliseconds bound) {
    zmq_pollitem_t item{socket.get(), 0, ZMQ_POLLIN, 0};
    if (zmq_poll(&item, 1, static_cast<long>(bound.count())) <= 0) {
        return std::nullopt;
    }
    Frames frames;
    int more = 1;
    while (more != 0) {
        zmq_msg_t message;
        check(zmq_msg_init(&message));
        check(zmq_msg_recv(&message, socket.get(), 0));
        frames.emplace_back(static_cast<const char*>(zmq_msg_data(&message)),
                            zmq_msg_size(&message));
        more = zmq_msg_more(&message);
        zmq_msg_close(&message);
    }
    return frames;
}

}  // namespace tarn::test
