#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/socket/Socket.h"
#include "platform/socket/zmq/BoundSocket.h"
#include "platform/socket/zmq/ConnectedSocket.h"
#include "platform/socket/zmq/Envelope.h"
#include "platform/socket/zmq/Frame.h"
#include "platform/socket/zmq/SocketRole.h"
#include "platform/socket/zmq/SocketSettings.h"

namespace tarn::socket {

/// What a socket does with frames, each role in its way; Socket itself deals in messages.
struct Socket::Implementation {
    const std::string name;
    SocketSettings settings;
    std::chrono::milliseconds bound{5000};
    // None while nothing is open, else the one that the role calls for.
    std::unique_ptr<ConnectedSocket> connection;
    std::unique_ptr<BoundSocket> listening;
    Envelope envelope;
    // An answer that polling has taken: only that tells it from a late one to an earlier request.
    std::optional<Frame> answered;
    // Somebody has subscribed, and was not asked for yet.
    bool subscriberCame = false;

    Implementation(std::string socketName, ClosePolicy closePolicy) : name(std::move(socketName)) {
        settings.closePolicy = closePolicy;
    }

    bool isOpen() const { return connection || listening; }
    ZmqSocket& socket();
    std::string describe() const;

    void open(const SocketEndpoint& endpoint, std::chrono::milliseconds handshakeBound);
    void listen(const SocketEndpoint& endpoint);
    void connect(const SocketEndpoint& endpoint, std::chrono::milliseconds handshakeBound);

    void send(Frame frame);
    void answer(Frame frame);
    void push(Frame frame);
    bool sendWithin(Frame frame, std::chrono::milliseconds limit);
    bool awaitRoom(const os::Deadline& deadline);
    bool awaitSubscriber(const os::Deadline& deadline);
    void takeAnnouncements();
    void checkDirection(bool (*goesThisWay)(const SocketRole&), const std::string& action) const;
    Frame receive();
    bool receiveArrived(Frame& frame);
    bool awaitMessage(const os::Deadline& deadline, int descriptor);
    bool awaitAnswer(const os::Deadline& deadline, int descriptor);
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

}  // namespace tarn::socket
