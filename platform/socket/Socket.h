#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

#include "platform/socket/Audience.h"
#include "platform/socket/KeyPolicy.h"
#include "platform/socket/Peer.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/socket/SocketTypes.h"

namespace google::protobuf {
class Message;
}

namespace tarn::socket {

class TcpProtection;

/// One message socket. An object may be moved between threads but is used by one at a time; nothing
/// here locks. No call waits without a bound: sends and receives end after 5 seconds with an
/// exception that names the endpoint.
///
/// Errors are std::runtime_error (std::invalid_argument for misuse, such as a second create),
/// ZmqContextTerminationException while the context is being terminated. After an exception the
/// socket can be used again.
class Socket {
  public:
    /// Unopened. `name` appears in diagnostics only.
    Socket(std::string name, ClosePolicy closePolicy);
    ~Socket();  ///< closes
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    /// The longest queue of messages that wait to be sent or received, per peer; 1000 by default,
    /// on Reply `requestQueueLength`. Before create or connect.
    void setQueueLength(int messages);

    /// Whom the files of IPC endpoints that are bound are for; OwnPrograms by default. Before
    /// create or connect.
    void setAudience(Audience audience);

    /// What is larger ends the connection that brings it, before it is in memory: 64 MiB by
    /// default, on Reply `largestRequestSize` (see Limits.h). In bytes. Before create or connect.
    void setLargestReceived(std::size_t bytes);

    /// On Subscribe: only what begins with these bytes is received; everything by default. Before
    /// create or connect. In bytes at most 256, or the publisher ends the connection.
    void setTopic(std::string topic);

    /// Shortens or lengthens the bound of sends and receives. Any time.
    void setTimeout(std::chrono::milliseconds bound);

    /// Whom the endpoints are for that the socket binds, where they are protected. Devices on Pull,
    /// else clients, by default. Before create.
    void setEntrance(Entrance entrance);

    /// What protects its TCP endpoints, instead of what protects the process. Before connect.
    void protectBy(const TcpProtection& protection);

    /// Chooses the role; opens nothing.
    void create(Protocol protocol);

    /// Opens the socket: the roles that bind bind, the others connect.
    ///
    /// Connecting: waits until the peer has answered the handshake, `timeoutMs` at most, else
    /// throws; 0 does not wait (the connection is made, and made again, in the background). The
    /// host "*" means "localhost". A second call replaces the first connection and drops what it
    /// held. Over IPC nobody is connected to but root, this process's own user and the services'
    /// (platform/os/TrustedListener.h): somebody else's socket throws, and where nobody waits it is
    /// passed over, which the log says, until the right one is there.
    ///
    /// Binding: `timeoutMs` is not used. An IPC path on which somebody listens, or which is no
    /// socket, throws; a stale socket file is replaced. Publish, Pull and Reply may bind several
    /// endpoints, one call each.
    void connect(const SocketEndpoint& endpoint, std::uint32_t timeoutMs);

    /// Of a socket that binds: listens there no more, and ends the connections that were made
    /// there; what they brought and nobody has received yet may be lost. Somebody else can listen
    /// there at once. Does nothing when it does not listen there.
    void unbind(const SocketEndpoint& endpoint);

    /// create and connect; closes again when connect throws.
    void createAndConnect(Protocol protocol, const SocketEndpoint& endpoint,
                          std::uint32_t timeoutMs);

    /// Waits for an incoming message. 0: one is ready; 1: the time-out passed; 2: an error, its
    /// text in `error`. Throws ZmqContextTerminationException.
    int poll(std::uint32_t timeoutMs, std::string& error);

    /// The same, and ends early, with 1, when `descriptor` is readable: for threads that also wait
    /// for something that is no message.
    int pollWith(int descriptor, std::uint32_t timeoutMs, std::string& error);

    /// Waits until a message can be sent without finding the queue full; false when the time-out
    /// passed. For senders that can let what they have to say grow meanwhile.
    bool awaitRoom(std::uint32_t timeoutMs);

    /// On Publish: waits until somebody has subscribed since this was asked last, or since the
    /// opening; false when the time-out passed. What is sent from then on reaches that subscriber.
    bool awaitSubscriber(std::uint32_t timeoutMs);

    /// On Request, over IPC and TCP: from now on `awaitLoss` can be asked, and while the peer is
    /// away it is tried less and less often, down to twice a second. Before connect.
    void watchConnection();

    /// Waits until the connection is lost, or was since this was asked last. False when the
    /// time-out passed, or when `descriptor` became readable, first. std::invalid_argument when the
    /// connection is not watched, std::runtime_error in-process.
    bool awaitLoss(int descriptor, std::uint32_t timeoutMs);

    /// Serialises and sends. Push over IPC and TCP, Reply and Publish never wait: a full queue
    /// throws (Publish drops for the subscriber that is too slow). Push in-process waits one second
    /// at most. Reply sends to whom the last request came from; without a request that is not
    /// answered yet, or when that client has gone, it throws.
    void sendProtoBuf(const google::protobuf::Message* message);

    /// Whether, on Reply, the last request that was received has not been answered yet.
    bool owesAnswer() const;

    /// Who sent the message that was received last; this process itself when none was. Over IPC he
    /// can be another than who connected: a connection can be handed on.
    Peer sender() const;

    /// Receives one message and parses it (required fields need not be set). A message over
    /// `maxBytes`, or one that does not parse, is dropped and throws. On Reply, a new request drops
    /// the envelope of an unanswered one, and what is nested deeper than `deepestRequest` does not
    /// parse.
    void receiveProtoBuf(google::protobuf::Message* message, std::uint32_t maxBytes);

    /// The same for a message that `admits` lets in, which sees its bytes first, however many there
    /// are. False when it did not: the message is dropped, and `message` is untouched.
    using Admits = std::function<bool(std::string_view bytes)>;
    bool receiveProtoBuf(google::protobuf::Message* message, std::uint32_t maxBytes,
                         const Admits& admits);

    /// The same for a message that is serialised already, or that is not looked into here.
    void sendBytes(std::string_view bytes);
    /// The parts together are one message.
    void sendParts(std::initializer_list<std::string_view> parts);
    std::string receiveBytes(std::uint32_t maxBytes);

    /// Closes; never hangs. Safe to call twice. The socket may be created again.
    void close();

    /// "<name> on <endpoint>", for logs; the name alone while nothing is open.
    std::string debugString() const;

  private:
    struct Implementation;
    std::unique_ptr<Implementation> impl;
};

}  // namespace tarn::socket
