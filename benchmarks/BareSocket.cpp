#include "benchmarks/BareSocket.h"

#include <zmq.h>

#include <cerrno>
#include <stdexcept>
#include <vector>

namespace tarn::benchmarks {

namespace {

void check(bool good, const char* what) {
    if (!good) {
        throw std::runtime_error(std::string(what) + ": " + zmq_strerror(errno));
    }
}

}  // namespace

BareSocket::BareSocket(Kind kind, const std::string& address)
    : context(zmq_ctx_new()),
      socket(zmq_socket(context, kind == Kind::Router ? ZMQ_ROUTER : ZMQ_REQ)) {
    const int bound = 5000;
    const int linger = 0;
    zmq_setsockopt(socket, ZMQ_LINGER, &linger, sizeof linger);
    if (kind == Kind::Router) {
        check(zmq_bind(socket, address.c_str()) == 0, "bind");
    } else {
        zmq_setsockopt(socket, ZMQ_RCVTIMEO, &bound, sizeof bound);
        check(zmq_connect(socket, address.c_str()) == 0, "connect");
    }
}

BareSocket::~BareSocket() {
    zmq_close(socket);
    zmq_ctx_term(context);
}

std::size_t BareSocket::ask(const std::string& bytes) {
    check(zmq_send(socket, bytes.data(), bytes.size(), 0) >= 0, "send");
    zmq_msg_t answer;
    zmq_msg_init(&answer);
    const int received = zmq_msg_recv(&answer, socket, 0);
    check(received >= 0, "receive");
    zmq_msg_close(&answer);
    return static_cast<std::size_t>(received);
}

void BareSocket::answerAlways(const std::string& bytes) {
    std::vector<char> identity(256);
    std::vector<char> request(1 << 20);
    while (true) {
        const int size = zmq_recv(socket, identity.data(), identity.size(), 0);
        check(size >= 0, "receive");
        zmq_recv(socket, request.data(), request.size(), 0);  // delimiter
        zmq_recv(socket, request.data(), request.size(), 0);
        zmq_send(socket, identity.data(), static_cast<std::size_t>(size), ZMQ_SNDMORE);
        zmq_send(socket, "", 0, ZMQ_SNDMORE);
        zmq_send(socket, bytes.data(), bytes.size(), 0);
    }
}

}  // namespace tarn::benchmarks
