#include "platform/socket/zmq/SocketImplementation.h"

#include <algorithm>
#include <utility>

#include "platform/socket/DescriptorReserve.h"
#include "platform/socket/visitors/WaitingRoom.h"
#include "platform/socket/zmq/SocketRole.h"

namespace tarn::socket {

using std::chrono::milliseconds;

namespace {

constexpr milliseconds inProcessPushBound{1000};

std::string inMilliseconds(milliseconds bound) {
    return std::to_string(bound.count()) + " ms";
}

// Takes a message that is one frame; false when none has arrived.
bool receiveSingle(ZmqSocket& socket, zmq::message_t& frame) {
    if (!socket.receive(frame)) {
        return false;
    }
    if (!frame.more()) {
        return true;
    }
    while (frame.more() && socket.receive(frame)) {
    }
    throw std::runtime_error("a message of several frames was dropped");
}

os::Deadline earlier(const os::Deadline& deadline,
                     const std::optional<std::chrono::steady_clock::time_point>& other) {
    if (!other) {
        return deadline;
    }
    const auto left = std::chrono::ceil<milliseconds>(*other - std::chrono::steady_clock::now());
    return os::Deadline(std::clamp(left, milliseconds(0), deadline.remaining()));
}

bool isSubscription(const zmq::message_t& announcement) {
    return announcement.to_string_view().starts_with('\1');
}

}  // namespace

ZmqSocket& Socket::Implementation::socket() {
    if (!isOpen()) {
        throw std::runtime_error("the socket is not open");
    }
    return connection ? connection->socket() : listening->socket();
}

std::string Socket::Implementation::describe() const {
    std::string endpoints;
    if (connection) {
        endpoints = connection->endpoint().toString(settings.protocol);
    } else if (listening) {
        endpoints = listening->describe(settings.protocol);
    }
    return endpoints.empty() ? name : name + " on " + endpoints;
}

void Socket::Implementation::checkDirection(bool (*goesThisWay)(const SocketRole&),
                                            const std::string& action) const {
    if (isOpen() && !goesThisWay(roleOf(settings.protocol))) {
        throw std::invalid_argument(describe() + ": the socket cannot " + action + " this");
    }
}

void Socket::Implementation::open(const SocketEndpoint& endpoint, milliseconds handshakeBound) {
    const auto opening = roleOf(settings.protocol).opening;
    // An endpoint need not have been made from text, but it has to be one that could.
    const auto checked = SocketEndpoint::FromString(endpoint.toString(Protocol::None));
    if (opening == SocketRole::Opening::Binds) {
        listen(checked);
    } else {
        connect(checked, handshakeBound);
    }
}

void Socket::Implementation::listen(const SocketEndpoint& endpoint) {
    if (listening) {
        listening->add(endpoint);
        return;
    }
    auto first = std::make_unique<BoundSocket>(settings);
    first->add(endpoint);
    listening = std::move(first);
}

void Socket::Implementation::connect(const SocketEndpoint& endpoint, milliseconds handshakeBound) {
    if (connection) {
        connection->drop();
        connection.reset();
        answered.reset();
    }
    connection = std::make_unique<ConnectedSocket>(settings, endpoint, handshakeBound);
}

// An asking side does not: it would forget its question. It does so when it asks again.
void Socket::Implementation::followPublisher() {
    if (connection && settings.protocol == Protocol::Subscribe) {
        connection->follow();
    }
}

void Socket::Implementation::send(zmq::message_t frame) {
    switch (settings.protocol) {
        case Protocol::Reply:
            return answer(std::move(frame));
        case Protocol::Push:
            return push(std::move(frame));
        case Protocol::Publish:
            takeAnnouncements();
            socket().send(frame);
            return;
        default:
            answered.reset();
            if (!sendWithin(std::move(frame), bound)) {
                throw std::runtime_error("sending timed out after " + inMilliseconds(bound));
            }
    }
}

void Socket::Implementation::answer(zmq::message_t frame) {
    if (envelope.isEmpty()) {
        throw std::runtime_error("there is no request to answer");
    }
    envelope.send(socket(), std::move(frame));
}

void Socket::Implementation::push(zmq::message_t frame) {
    const bool waits = connection && connection->endpoint().transport() == Transport::InProcess;
    const auto limit = waits ? std::min(bound, inProcessPushBound) : milliseconds(0);
    if (!sendWithin(std::move(frame), limit)) {
        throw std::runtime_error("the queue is full");
    }
}

bool Socket::Implementation::sendWithin(zmq::message_t frame, milliseconds limit) {
    if (connection) {
        connection->follow();
    }
    const os::Deadline deadline(limit);
    while (!socket().send(frame)) {
        if (!socket().waitFor(ZMQ_POLLOUT, deadline)) {
            return false;
        }
    }
    return true;
}

bool Socket::Implementation::awaitRoom(const os::Deadline& deadline) {
    if (connection) {
        connection->follow();
    }
    return socket().waitFor(ZMQ_POLLOUT, deadline);
}

// Subscribers announce themselves; unread, that would pile up. The bound is for one who announces
// faster than we read.
void Socket::Implementation::takeAnnouncements() {
    constexpr int most = 10000;
    zmq::message_t announcement;
    for (int i = 0; i < most && socket().receive(announcement); ++i) {
        listening->noteSender(Origin(announcement));
        const bool wantsTopic = isSubscription(announcement);
        subscriberCame = subscriberCame || wantsTopic;
        if (wantsTopic) {
            subscribers.came(std::move(announcement));
        } else {
            subscribers.left(announcement);
        }
    }
}

bool Socket::Implementation::awaitSubscriber(const os::Deadline& deadline) {
    // The library would tell of the first alone, of all who want the same.
    socket().set(zmq::sockopt::xpub_verbose, true);
    takeAnnouncements();
    while (!subscriberCame && socket().waitFor(ZMQ_POLLIN, deadline)) {
        takeAnnouncements();
    }
    return std::exchange(subscriberCame, false);
}

zmq::message_t Socket::Implementation::receive() {
    const os::Deadline deadline(bound);
    zmq::message_t frame;
    while (!receiveArrived(frame)) {
        if (!awaitInput(deadline)) {
            throw std::runtime_error("nothing was received within " + inMilliseconds(bound));
        }
    }
    return frame;
}

bool Socket::Implementation::receiveArrived(zmq::message_t& frame) {
    if (answered) {
        frame = std::move(*answered);
        answered.reset();
        return true;
    }
    if (settings.protocol == Protocol::Reply) {
        requests.served();
        return requests.next(socket(), envelope, frame);
    }
    return receiveSingle(socket(), frame);
}

bool Socket::Implementation::awaitMessage(const os::Deadline& deadline, int descriptor) {
    if (listening) {
        DescriptorReserve::Report();
    }
    return settings.protocol == Protocol::Request ? awaitAnswer(deadline, descriptor)
                                                  : awaitInput(deadline, descriptor);
}

bool Socket::Implementation::awaitInput(const os::Deadline& deadline, int descriptor) {
    return settings.protocol == Protocol::Reply ? awaitRequest(deadline, descriptor)
                                                : awaitFrame(deadline, descriptor, {});
}

// False also when `due` has come, which something else is waited for; whoever was turned away is
// let go meanwhile.
bool Socket::Implementation::awaitFrame(const os::Deadline& deadline, int descriptor, Due due) {
    while (true) {
        const auto end = listening ? processWaitingRoom().closeThoseWhoWaited() : std::nullopt;
        const bool endsFirst = end && (!due || *end < *due);
        const auto next = endsFirst ? end : due;
        if (socket().waitFor(ZMQ_POLLIN, earlier(deadline, next), descriptor)) {
            return true;
        }
        if (!endsFirst || deadline.hasPassed() || WaitingRoom::Clock::now() < *end) {
            return false;
        }
    }
}

// Somebody who has had his share of the time waits, and is then served though nothing comes.
bool Socket::Implementation::awaitRequest(const os::Deadline& deadline, int descriptor) {
    requests.served();
    if (requests.isIdle()) {
        return awaitFrame(deadline, descriptor, {});
    }
    while (!requests.gather(socket())) {
        const auto due = requests.due();
        if (!awaitFrame(deadline, descriptor, due) &&
            (!due || ArrivedRequests::Clock::now() < *due)) {
            return false;
        }
    }
    return true;
}

bool Socket::Implementation::awaitAnswer(const os::Deadline& deadline, int descriptor) {
    zmq::message_t frame;
    while (!answered && socket().waitFor(ZMQ_POLLIN, deadline, descriptor)) {
        if (receiveArrived(frame)) {
            answered = std::move(frame);
        }
    }
    return answered.has_value();
}

}  // namespace tarn::socket
