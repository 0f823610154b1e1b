#include "benchmarks/support/BareSocket.h"

#include <zmq.h>

#include <cerrno>
#include <list>
#include <stdexcept>
#include <utility>
#include <vector>

#include "benchmarks/support/Samples.h"

namespace tarn::benchmarks {

namespace {

void check(bool good, const char* what) {
    if (!good) {
        throw std::runtime_error(std::string(what) + ": " + zmq_strerror(errno));
    }
}

int typeOf(BareSocket::Kind kind) {
    switch (kind) {
        case BareSocket::Kind::Request:
            return ZMQ_REQ;
        case BareSocket::Kind::Router:
            return ZMQ_ROUTER;
        case BareSocket::Kind::Push:
            return ZMQ_PUSH;
        case BareSocket::Kind::Pull:
            return ZMQ_PULL;
        case BareSocket::Kind::Publish:
            return ZMQ_PUB;
        case BareSocket::Kind::Subscribe:
            return ZMQ_SUB;
    }
    return -1;
}

bool binds(BareSocket::Kind kind) {
    return kind == BareSocket::Kind::Router || kind == BareSocket::Kind::Pull ||
           kind == BareSocket::Kind::Publish;
}

/// One received message.
class Received {
  public:
    Received() { zmq_msg_init(&message); }
    ~Received() { zmq_msg_close(&message); }
    Received(const Received&) = delete;
    Received& operator=(const Received&) = delete;

    zmq_msg_t* get() { return &message; }
    std::string text() {
        return {static_cast<const char*>(zmq_msg_data(&message)), zmq_msg_size(&message)};
    }

  private:
    zmq_msg_t message;
};

}  // namespace

BareSocket::Context BareSocket::makeContext() {
    return {zmq_ctx_new(), zmq_ctx_term};
}

BareSocket::BareSocket(Kind kind, const std::string& address, Context sharedContext,
                       const std::string& topic)
    : context(std::move(sharedContext)), socket(zmq_socket(context.get(), typeOf(kind))) {
    const int bound = 5000;
    const int linger = 0;
    zmq_setsockopt(socket, ZMQ_LINGER, &linger, sizeof linger);
    if (kind == Kind::Subscribe) {
        zmq_setsockopt(socket, ZMQ_SUBSCRIBE, topic.data(), topic.size());
    }
    if (kind == Kind::Request) {
        zmq_setsockopt(socket, ZMQ_RCVTIMEO, &bound, sizeof bound);
    }
    zmq_setsockopt(socket, ZMQ_SNDTIMEO, &bound, sizeof bound);
    if (binds(kind)) {
        check(zmq_bind(socket, address.c_str()) == 0, "bind");
    } else {
        check(zmq_connect(socket, address.c_str()) == 0, "connect");
    }
}

BareSocket::~BareSocket() {
    zmq_close(socket);
}

std::size_t BareSocket::ask(const std::string& bytes) {
    check(zmq_send(socket, bytes.data(), bytes.size(), 0) >= 0, "send");
    Received answer;
    const int received = zmq_msg_recv(answer.get(), socket, 0);
    check(received >= 0, "receive");
    return static_cast<std::size_t>(received);
}

std::string BareSocket::request(const std::string& bytes) {
    send(bytes);
    std::string answer;
    check(receive(answer), "receive");
    return answer;
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

void BareSocket::answerOne(const Answer& answer) {
    std::list<Received> frames;  // they do not move
    do {
        check(zmq_msg_recv(frames.emplace_back().get(), socket, 0) >= 0, "receive");
    } while (zmq_msg_more(frames.back().get()) != 0);
    const std::string bytes = answer(frames.back().text());
    frames.pop_back();
    for (auto& frame : frames) {  // whom it is for
        zmq_msg_send(frame.get(), socket, ZMQ_SNDMORE);
    }
    zmq_send(socket, bytes.data(), bytes.size(), 0);
}

void BareSocket::send(const std::string& bytes) {
    check(zmq_send(socket, bytes.data(), bytes.size(), 0) >= 0, "send");
}

void BareSocket::forwardTo(BareSocket& other) {
    Received message;
    check(zmq_msg_recv(message.get(), socket, 0) >= 0, "receive");
    check(zmq_msg_send(message.get(), other.socket, 0) >= 0, "send");
}

bool BareSocket::receive(std::string& bytes, std::chrono::milliseconds within) {
    zmq_pollitem_t item{.socket = socket, .fd = 0, .events = ZMQ_POLLIN, .revents = 0};
    if (zmq_poll(&item, 1, within.count()) <= 0) {
        errno = EAGAIN;
        return false;
    }
    Received message;
    check(zmq_msg_recv(message.get(), socket, 0) >= 0, "receive");
    bytes = message.text();
    return true;
}

void timeCalls(BareSocket& socket, const std::string& request, int calls, Samples& samples) {
    for (int i = 0; i < calls; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        socket.ask(request);
        samples.add(std::chrono::steady_clock::now() - begin);
    }
}

}  // namespace tarn::benchmarks
