#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/socket/Limits.h"
#include "platform/socket/Socket.h"
#include "platform/socket/zmq/ArrivedRequests.h"
#include "platform/socket/zmq/BoundSocket.h"
#include "platform/socket/zmq/ConnectedSocket.h"
#include "platform/socket/zmq/Envelope.h"
#include "platform/socket/zmq/KnownPeers.h"
#include "platform/socket/zmq/MessageBytes.h"
#include "platform/socket/zmq/Origin.h"
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
    ArrivedRequests requests;
    Envelope envelope;
    Origin lastReceived;
    // An answer that polling has taken: only that tells it from a late one to an earlier request.
    std::optional<zmq::message_t> answered;
    // Of a publishing side.
    KnownPeers subscribers;
    // Somebody has subscribed, and was not asked for yet.
    bool subscriberCame = false;

    Implementation(std::string socketName, ClosePolicy closePolicy) : name(std::move(socketName)) {
        settings.closePolicy = closePolicy;
    }

    /// Levels of messages. What our own programs send is as deep as devices are.
    int deepestReceived() const {
        return settings.protocol == Protocol::Reply ? deepestRequest : deepestMessage;
    }
    bool isOpen() const { return connection || listening; }
    ZmqSocket& socket();
    std::string describe() const;

    void open(const SocketEndpoint& endpoint, std::chrono::milliseconds handshakeBound);
    void listen(const SocketEndpoint& endpoint);
    void connect(const SocketEndpoint& endpoint, std::chrono::milliseconds handshakeBound);

    void send(zmq::message_t frame);
    void answer(zmq::message_t frame);
    void push(zmq::message_t frame);
    bool sendWithin(zmq::message_t frame, std::chrono::milliseconds limit);
    bool awaitRoom(const os::Deadline& deadline);
    bool awaitSubscriber(const os::Deadline& deadline);
    void takeAnnouncements();
    void checkDirection(bool (*goesThisWay)(const SocketRole&), const std::string& action) const;
    bool awaitInput(const os::Deadline& deadline, int descriptor = -1);
    zmq::message_t receive();
    bool receiveArrived(zmq::message_t& frame);
    bool awaitMessage(const os::Deadline& deadline, int descriptor);
    bool awaitAnswer(const os::Deadline& deadline, int descriptor);
    using Due = std::optional<std::chrono::steady_clock::time_point>;
    bool awaitFrame(const os::Deadline& deadline, int descriptor, Due due);
    bool awaitRequest(const os::Deadline& deadline, int descriptor);
    void followPublisher();

    /// Receives a message and hands it to `take`. One that it throws at is not answered.
    template <typename Take>
    void receive(Take take) {
        named([&] {
            followPublisher();
            auto frame = receive();
            lastReceived = Origin(frame);
            if (listening) {
                listening->noteSender(lastReceived);
            }
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
        return callNamed([&] { return describe(); }, std::move(action));
    }
};

}  // namespace tarn::socket
