#include "platform/socket/zmq/Envelope.h"

#include <stdexcept>
#include <utility>

#include "platform/socket/visitors/ProcessVisitors.h"
#include "platform/socket/zmq/ZmqSocket.h"

namespace tarn::socket {

namespace {

// (The library's own receiving of several frames holds any number.) More would be a client that
// wants us to hold and return its data, not a road back.
constexpr std::size_t mostFrames = 16;

// The weight is that of all of them, also of those that are dropped.
std::vector<zmq::message_t> receiveAll(ZmqSocket& socket, std::size_t most, std::uint64_t& weight) {
    std::vector<zmq::message_t> frames;
    while (true) {
        zmq::message_t frame;
        if (!socket.take(frame)) {
            return frames;
        }
        weight += weightOfFrame(frame.size());
        const bool last = !frame.more();
        if (frames.size() <= most) {  // one more shows that there were too many
            frames.push_back(std::move(frame));
        }
        if (last) {
            return frames;
        }
    }
}

// Where the body is: behind the delimiter, or, without one, behind the client's identity.
std::size_t bodyPosition(const std::vector<zmq::message_t>& frames) {
    for (std::size_t i = 1; i < frames.size(); ++i) {
        if (frames[i].empty()) {
            return i + 1;
        }
    }
    return 1;
}

// The library looks only once a millisecond whether the client has taken earlier answers, but when
// it is asked for events: a quick client with a short queue would look like one that takes none.
bool hasRoomAfterAll(ZmqSocket& socket, zmq::message_t& frame, zmq::send_flags position) {
    static_cast<void>(socket.get(zmq::sockopt::events));
    return socket.send(frame, position);
}

void sendNow(ZmqSocket& socket, zmq::message_t& frame, zmq::send_flags position) {
    if (!socket.send(frame, position) && !hasRoomAfterAll(socket, frame, position)) {
        throw std::runtime_error("the client takes no more answers, its queue is full");
    }
}

}  // namespace

bool Envelope::receive(ZmqSocket& socket, zmq::message_t& body, std::string& fault) {
    clear();
    weight = 0;
    auto received = receiveAll(socket, mostFrames, weight);
    if (received.empty()) {
        return false;
    }
    connection = zmq_msg_get(received.back().handle(), ZMQ_SRCFD);
    const auto position = bodyPosition(received);
    if (received.size() > mostFrames || received.size() > position + 1) {
        fault = "a request of several frames was dropped";
        return true;
    }
    if (received.size() < position + 1) {
        fault = "a request without a body was dropped";
        return true;
    }
    body = std::move(received.back());
    received.pop_back();
    frames = std::move(received);
    return true;
}

void Envelope::lookedAt() {
    processVisitors().credit(connection, std::exchange(weight, 0));
}

void Envelope::send(ZmqSocket& socket, zmq::message_t body) {
    auto road = std::exchange(frames, {});
    if (!processVisitors().charge(connection, body.size())) {
        throw std::runtime_error("the client takes no more answers, too much waits for him");
    }
    for (auto& frame : road) {
        sendNow(socket, frame, zmq::send_flags::sndmore);
    }
    sendNow(socket, body, zmq::send_flags::none);
}

}  // namespace tarn::socket
