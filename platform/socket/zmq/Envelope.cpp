#include "platform/socket/zmq/Envelope.h"

#include <cerrno>
#include <stdexcept>
#include <utility>

#include "platform/socket/zmq/ZmqSocket.h"

namespace tarn::socket {

namespace {

// More would be a client that wants us to hold and return its data, not a road back.
constexpr std::size_t mostFrames = 16;

std::vector<Frame> receiveAll(ZmqSocket& socket, std::size_t most) {
    std::vector<Frame> frames;
    while (true) {
        Frame frame;
        if (!frame.receive(socket)) {
            return frames;
        }
        const bool last = frame.position() == Frame::Position::Last;
        if (frames.size() <= most) {  // one more shows that there were too many
            frames.push_back(std::move(frame));
        }
        if (last) {
            return frames;
        }
    }
}

// Where the body is: behind the delimiter, or, without one, behind the client's identity.
std::size_t bodyPosition(const std::vector<Frame>& frames) {
    for (std::size_t i = 1; i < frames.size(); ++i) {
        if (frames[i].size() == 0) {
            return i + 1;
        }
    }
    return 1;
}

}  // namespace

bool Envelope::receive(ZmqSocket& socket, Frame& body) {
    clear();
    auto received = receiveAll(socket, mostFrames);
    if (received.empty()) {
        return false;
    }
    const auto position = bodyPosition(received);
    if (received.size() > mostFrames || received.size() > position + 1) {
        throw std::runtime_error("a request of several frames was dropped");
    }
    if (received.size() < position + 1) {
        throw std::runtime_error("a request without a body was dropped");
    }
    body = std::move(received.back());
    received.pop_back();
    frames = std::move(received);
    return true;
}

void Envelope::send(ZmqSocket& socket, Frame body) {
    auto road = std::exchange(frames, {});
    for (auto& frame : road) {
        if (!frame.send(socket, Frame::Position::MoreFollow)) {
            throw std::runtime_error("the client takes no more answers, its queue is full");
        }
    }
    if (!body.send(socket, Frame::Position::Last)) {
        throw std::runtime_error("the client takes no more answers, its queue is full");
    }
}

}  // namespace tarn::socket
