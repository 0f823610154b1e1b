#include "platform/socket/Socket.h"

#include <zmq.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <utility>

#include "platform/socket/Connection.h"
#include "platform/socket/Envelope.h"
#include "platform/socket/Frame.h"
#include "platform/socket/Listening.h"
#include "platform/socket/MessageBytes.h"
#include "platform/socket/SocketRole.h"
#include "platform/socket/SocketSettings.h"

namespace tarn::socket {

using std::chrono::milliseconds;

namespace {

constexpr milliseconds defaultBound{5000};
constexpr milliseconds inProcessPushBound{1000};
constexpr int noDescriptor = -1;

std::string inMilliseconds(milliseconds bound) {
    return std::to_string(bound.count()) + " ms";
}

// Takes a message that is one frame; false when none has arrived.
bool receiveSingle(ZmqSocket& socket, Frame& frame) {
    if (!frame.receive(socket)) {
        return false;
    }
    bool more = frame.position() == Frame::Position::MoreFollow;
    if (!more) {
        return true;
    }
    while (more) {
        Frame rest;
        more = rest.receive(socket) && rest.position() == Frame::Position::MoreFollow;
    }
    throw std::runtime_error("a message of several frames was dropped");
}

// Subscribers announce themselves; unread, that would pile up. The bound is for one who announces
// faster than we read.
void discardAnnouncements(ZmqSocket& socket) {
    constexpr int most = 10000;
    Frame announcement;
    for (int i = 0; i < most && announcement.receive(socket); ++i) {
    }
}

}  // namespace

struct Socket::Implementation {
    const std::string name;
    SocketSettings settings;
    milliseconds bound = defaultBound;
    // None while nothing is open, else the one that the role calls for.
    std::unique_ptr<Connection> connection;
    std::unique_ptr<Listening> listening;
    Envelope envelope;
    // An answer that polling has taken: only that tells it from a late one to an earlier request.
    std::optional<Frame> answered;

    bool isOpen() const { return connection || listening; }
    ZmqSocket& socket();
    std::string describe() const;

    void open(const SocketEndpoint& endpoint, milliseconds handshakeBound);
    void listen(const SocketEndpoint& endpoint);
    void connect(const SocketEndpoint& endpoint, milliseconds handshakeBound);

    void send(Frame frame);
    void answer(Frame frame);
    void push(Frame frame);
    bool sendWithin(Frame frame, milliseconds limit);
    void checkDirection(bool (*goesThisWay)(const SocketRole&), const std::string& action) const;
    Frame receive();
    bool receiveArrived(Frame& frame);
    bool awaitMessage(const Deadline& deadline, int descriptor);
    bool awaitAnswer(const Deadline& deadline, int descriptor);
    void followPublisher();

    /// Receives a message and hands it to `take`. One that it throws at is not answered.
    template <typename Take>
    void receive(Take take) {
        named([&] {
            followPublisher();
            Frame frame = receive();
            try {
                take(frame);
            } catch (...) {
                envelope.clear();
                throw;
            }
        });
    }

    /// Runs the action and puts this socket's name in front of what it throws.
    template <typename Action>
    auto named(Action action) {
        try {
            return action();
        } catch (const ZmqContextTerminationException& failure) {
            throw ZmqContextTerminationException(describe() + ": " + failure.what());
        } catch (const std::runtime_error& failure) {
            throw std::runtime_error(describe() + ": " + failure.what());
        }
    }
};

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
        for (const auto& endpoint : listening->endpoints()) {
            endpoints += (endpoints.empty() ? "" : ", ") + endpoint.toString(settings.protocol);
        }
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
    auto first = std::make_unique<Listening>(settings);
    first->add(endpoint);
    listening = std::move(first);
}

void Socket::Implementation::connect(const SocketEndpoint& endpoint, milliseconds handshakeBound) {
    if (connection) {
        connection->drop();
        connection.reset();
        answered.reset();
    }
    connection = std::make_unique<Connection>(settings, endpoint, handshakeBound);
}

// An asking side does not: it would forget its question. It does so when it asks again.
void Socket::Implementation::followPublisher() {
    if (connection && settings.protocol == Protocol::Subscribe) {
        connection->follow();
    }
}

void Socket::Implementation::send(Frame frame) {
    switch (settings.protocol) {
        case Protocol::Reply:
            return answer(std::move(frame));
        case Protocol::Push:
            return push(std::move(frame));
        case Protocol::Publish:
            discardAnnouncements(socket());
            frame.send(socket(), Frame::Position::Last);
            return;
        default:
            answered.reset();
            if (!sendWithin(std::move(frame), bound)) {
                throw std::runtime_error("sending timed out after " + inMilliseconds(bound));
            }
    }
}

void Socket::Implementation::answer(Frame frame) {
    if (envelope.isEmpty()) {
        throw std::runtime_error("there is no request to answer");
    }
    envelope.send(socket(), std::move(frame));
}

void Socket::Implementation::push(Frame frame) {
    const bool waits = connection && connection->endpoint().transport() == Transport::InProcess;
    const auto limit = waits ? std::min(bound, inProcessPushBound) : milliseconds(0);
    if (!sendWithin(std::move(frame), limit)) {
        throw std::runtime_error("the queue is full");
    }
}

bool Socket::Implementation::sendWithin(Frame frame, milliseconds limit) {
    if (connection) {
        connection->follow();
    }
    const Deadline deadline(limit);
    while (!frame.send(socket(), Frame::Position::Last)) {
        if (!socket().waitFor(ZMQ_POLLOUT, deadline)) {
            return false;
        }
    }
    return true;
}

Frame Socket::Implementation::receive() {
    const Deadline deadline(bound);
    Frame frame;
    while (!receiveArrived(frame)) {
        if (!socket().waitFor(ZMQ_POLLIN, deadline)) {
            throw std::runtime_error("nothing was received within " + inMilliseconds(bound));
        }
    }
    return frame;
}

bool Socket::Implementation::receiveArrived(Frame& frame) {
    if (answered) {
        frame = std::move(*answered);
        answered.reset();
        return true;
    }
    return settings.protocol == Protocol::Reply ? envelope.receive(socket(), frame)
                                                : receiveSingle(socket(), frame);
}

bool Socket::Implementation::awaitMessage(const Deadline& deadline, int descriptor) {
    return settings.protocol == Protocol::Request
               ? awaitAnswer(deadline, descriptor)
               : socket().waitFor(ZMQ_POLLIN, deadline, descriptor);
}

bool Socket::Implementation::awaitAnswer(const Deadline& deadline, int descriptor) {
    Frame frame;
    while (!answered && socket().waitFor(ZMQ_POLLIN, deadline, descriptor)) {
        if (receiveArrived(frame)) {
            answered = std::move(frame);
        }
    }
    return answered.has_value();
}

Socket::Socket(std::string name, ClosePolicy closePolicy)
    : impl(new Implementation{.name = std::move(name),
                              .settings = {.closePolicy = closePolicy},
                              .bound = defaultBound,
                              .connection = {},
                              .listening = {},
                              .envelope = {},
                              .answered = {}}) {}

Socket::~Socket() = default;

void Socket::setQueueLength(int messages) {
    if (messages < 1) {
        throw std::invalid_argument(debugString() + ": a queue holds at least one message");
    }
    if (impl->isOpen()) {
        throw std::invalid_argument(debugString() + ": the queue's length is set before opening");
    }
    impl->settings.queueLength = messages;
}

void Socket::setTimeout(milliseconds bound) {
    impl->bound = bound;
}

void Socket::create(Protocol protocol) {
    if (impl->settings.protocol != Protocol::None) {
        throw std::invalid_argument(debugString() + ": the socket is created already");
    }
    roleOf(protocol);
    impl->settings.protocol = protocol;
}

void Socket::connect(const SocketEndpoint& endpoint, std::uint32_t timeoutMs) {
    impl->named([&] { impl->open(endpoint, milliseconds(timeoutMs)); });
}

void Socket::createAndConnect(Protocol protocol, const SocketEndpoint& endpoint,
                              std::uint32_t timeoutMs) {
    create(protocol);
    try {
        connect(endpoint, timeoutMs);
    } catch (...) {
        close();
        throw;
    }
}

int Socket::poll(std::uint32_t timeoutMs, std::string& error) {
    return pollWith(noDescriptor, timeoutMs, error);
}

int Socket::pollWith(int descriptor, std::uint32_t timeoutMs, std::string& error) {
    error.clear();
    try {
        return impl->named([&] {
            if (impl->isOpen() && !receives(roleOf(impl->settings.protocol))) {
                throw std::runtime_error("the socket only sends");
            }
            impl->followPublisher();
            const Deadline deadline{milliseconds(timeoutMs)};
            return impl->awaitMessage(deadline, descriptor) ? 0 : 1;
        });
    } catch (const ZmqContextTerminationException&) {
        throw;
    } catch (const std::runtime_error& failure) {
        error = failure.what();
        return 2;
    }
}

void Socket::sendProtoBuf(const google::protobuf::Message* message) {
    if (message == nullptr) {
        throw std::invalid_argument(debugString() + ": the socket cannot send this");
    }
    impl->checkDirection(sends, "send");
    impl->named([&] { impl->send(serialise(*message)); });
}

void Socket::receiveProtoBuf(google::protobuf::Message* message, std::uint32_t maxBytes) {
    if (message == nullptr) {
        throw std::invalid_argument(debugString() + ": the socket cannot receive this");
    }
    impl->checkDirection(receives, "receive");
    impl->receive([&](Frame& frame) { parse(frame, *message, maxBytes); });
}

void Socket::sendBytes(std::string_view bytes) {
    impl->checkDirection(sends, "send");
    impl->named([&] { impl->send(frameOf(bytes)); });
}

std::string Socket::receiveBytes(std::uint32_t maxBytes) {
    impl->checkDirection(receives, "receive");
    std::string bytes;
    impl->receive([&](Frame& frame) { bytes = bytesOf(frame, maxBytes); });
    return bytes;
}

void Socket::close() {
    impl->connection.reset();
    impl->listening.reset();
    impl->envelope.clear();
    impl->answered.reset();
    impl->settings.protocol = Protocol::None;
}

std::string Socket::debugString() const {
    return impl->describe();
}

}  // namespace tarn::socket
