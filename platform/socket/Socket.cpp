#include "platform/socket/Socket.h"

#include <stdexcept>
#include <utility>

#include "platform/socket/zmq/MessageBytes.h"
#include "platform/socket/zmq/SocketImplementation.h"
#include "platform/socket/zmq/SocketRole.h"

namespace tarn::socket {

using std::chrono::milliseconds;

Socket::Socket(std::string name, ClosePolicy closePolicy)
    : impl(std::make_unique<Implementation>(std::move(name), closePolicy)) {}

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

void Socket::setAudience(Audience audience) {
    if (impl->isOpen()) {
        throw std::invalid_argument(debugString() + ": whom it is for is set before opening");
    }
    impl->settings.audience = audience;
}

void Socket::setLargestReceived(std::size_t bytes) {
    if (impl->isOpen() || bytes > largestMessage) {
        throw std::invalid_argument(debugString() +
                                    ": what is received is limited before opening, to 64 MiB");
    }
    impl->settings.largestReceived = bytes;
}

void Socket::setTopic(std::string topic) {
    if (impl->isOpen()) {
        throw std::invalid_argument(debugString() +
                                    ": what is subscribed to is set before opening");
    }
    impl->settings.topic = std::move(topic);
}

void Socket::setTimeout(milliseconds bound) {
    impl->bound = bound;
}

void Socket::setEntrance(Entrance entrance) {
    impl->settings.entrance = entrance;
}

void Socket::protectBy(const TcpProtection& protection) {
    impl->settings.protection = protection.state();
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

void Socket::unbind(const SocketEndpoint& endpoint) {
    if (impl->listening) {
        impl->named([&] { impl->listening->remove(endpoint); });
    }
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
    return pollWith(/*descriptor=*/-1, timeoutMs, error);
}

int Socket::pollWith(int descriptor, std::uint32_t timeoutMs, std::string& error) {
    error.clear();
    try {
        return impl->named([&] {
            if (impl->isOpen() && !receives(roleOf(impl->settings.protocol))) {
                throw std::runtime_error("the socket only sends");
            }
            impl->followPublisher();
            const os::Deadline deadline{milliseconds(timeoutMs)};
            return impl->awaitMessage(deadline, descriptor) ? 0 : 1;
        });
    } catch (const ZmqContextTerminationException&) {
        throw;
    } catch (const std::runtime_error& failure) {
        error = failure.what();
        return 2;
    }
}

bool Socket::awaitRoom(std::uint32_t timeoutMs) {
    return impl->named([&] { return impl->awaitRoom(os::Deadline(milliseconds(timeoutMs))); });
}

bool Socket::awaitSubscriber(std::uint32_t timeoutMs) {
    if (impl->settings.protocol != Protocol::Publish) {
        throw std::invalid_argument(debugString() + ": the socket has no subscribers");
    }
    return impl->named(
        [&] { return impl->awaitSubscriber(os::Deadline(milliseconds(timeoutMs))); });
}

void Socket::watchConnection() {
    if (impl->isOpen()) {
        throw std::invalid_argument(debugString() +
                                    ": it is watched from its opening or not at all");
    }
    impl->settings.isWatched = true;
}

bool Socket::awaitLoss(int descriptor, std::uint32_t timeoutMs) {
    if (!impl->settings.isWatched || !impl->connection) {
        throw std::invalid_argument(debugString() + ": the connection is not watched");
    }
    return impl->named([&] {
        return impl->connection->awaitLoss(os::Deadline(milliseconds(timeoutMs)), descriptor);
    });
}

void Socket::sendProtoBuf(const google::protobuf::Message* message) {
    if (message == nullptr) {
        throw std::invalid_argument(debugString() + ": the socket cannot send this");
    }
    impl->checkDirection(sends, "send");
    impl->named([&] { impl->send(serialise(*message)); });
}

bool Socket::owesAnswer() const {
    return !impl->envelope.isEmpty();
}

Peer Socket::sender() const {
    return impl->lastReceived.peer(impl->listening ? impl->listening->onlyTransport()
                                                   : std::nullopt);
}

void Socket::receiveProtoBuf(google::protobuf::Message* message, std::uint32_t maxBytes) {
    receiveProtoBuf(message, maxBytes, [](std::string_view) { return true; });
}

bool Socket::receiveProtoBuf(google::protobuf::Message* message, std::uint32_t maxBytes,
                             const Admits& admits) {
    if (message == nullptr) {
        throw std::invalid_argument(debugString() + ": the socket cannot receive this");
    }
    impl->checkDirection(receives, "receive");
    bool isAdmitted = false;
    impl->receive([&](const zmq::message_t& frame) {
        isAdmitted = admits(frame.to_string_view());
        if (isAdmitted) {
            parse(frame, *message, maxBytes, impl->deepestReceived());
        }
    });
    return isAdmitted;
}

void Socket::sendBytes(std::string_view bytes) {
    sendParts({bytes});
}

void Socket::sendParts(std::initializer_list<std::string_view> parts) {
    impl->checkDirection(sends, "send");
    impl->named([&] { impl->send(frameOf(parts)); });
}

std::string Socket::receiveBytes(std::uint32_t maxBytes) {
    impl->checkDirection(receives, "receive");
    std::string bytes;
    impl->receive([&](const zmq::message_t& frame) { bytes = bytesOf(frame, maxBytes); });
    return bytes;
}

void Socket::close() {
    impl->connection.reset();
    impl->listening.reset();
    impl->requests = {};
    impl->envelope.clear();
    impl->lastReceived = {};
    impl->answered.reset();
    impl->subscribers = {};
    impl->subscriberCame = false;
    impl->settings.protocol = Protocol::None;
}

std::string Socket::debugString() const {
    return impl->describe();
}

}  // namespace tarn::socket
